#include "greeting.h"

const char* greeting() {
  return "Good day, ";
}
