#pragma once

namespace zuvia {

// The file name part of this module's own path, in the ANSI code page; "" when it cannot be found. It was found while
// the module was loaded. Any thread; owned by the module.
extern const char* const ownModuleName;

}  // namespace zuvia
