#include "MissingLibrary.h"

namespace {

// Enough for Windows to refuse the whole module: the import cannot be resolved.
[[maybe_unused]] const int kValue = missingLibraryValue();

}  // namespace
