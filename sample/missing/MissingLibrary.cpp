#include "MissingLibrary.h"

int missingLibraryValue() {
  return 46;
}
