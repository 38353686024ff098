#pragma once

#include <string>

#include "platform/Windows.h"

namespace zuvia {

// Where the module that contains this code lies.
struct ModuleDirectoryReport {
  enum class Step {
    Handle,    // GetModuleHandleExW failed
    FileName,  // GetModuleFileNameW failed
    Done,
  };

  Step step = Step::Handle;
  DWORD error = 0;         // GetLastError() right after the call that failed
  std::wstring directory;  // without file name and trailing backslash, except of a drive's root
};

// Finds the directory of the module by an address inside it, whatever the file is called. A path
// beyond 260 characters is cut off there, which is not recognised as a failure.
// Any thread. Logs nothing; throws std::bad_alloc only.
ModuleDirectoryReport findModuleDirectory();

}  // namespace zuvia
