#pragma once

#include <string>

namespace zuvia::zupack {

// Whether every Windows 10 and 11 (x64) brings the library. It is asked of a list, not of this machine, so that the
// answer is the same everywhere. name: in lower case.
bool isSystemLibrary(const std::string& name);

// Whether it is one that a host has loaded when it loads a module: its own libraries, which the plugin needs as well,
// and the C++ run-time library that host and modules share (the release one). name: in lower case.
bool isHostLibrary(const std::string& name);

}  // namespace zuvia::zupack
