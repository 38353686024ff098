#pragma once

#include <cstdint>
#include <string>

#include "platform/Windows.h"

namespace zuvia {

// What reading the version resource of a file met.
struct FileVersionReport {
  enum class Step {
    Size,        // GetFileVersionInfoSizeW gave 0
    Info,        // GetFileVersionInfoW failed
    Query,       // VerQueryValueW failed
    QueryEmpty,  // VerQueryValueW gave no pointer or a length of 0
    Done,        // there is fixed file information of `length` bytes
  };

  Step step = Step::Size;
  DWORD error = 0;            // GetLastError() right after the call that failed
  DWORD size = 0;             // bytes of the whole resource, from Step::Info on
  UINT length = 0;            // bytes of the fixed file information
  bool hasFixedInfo = false;  // whether VerQueryValueW gave a pointer

  // The four numbers of the file version, with Step::Done only.
  uint32_t major = 0;
  uint32_t minor = 0;
  uint32_t build = 0;
  uint32_t revision = 0;
};

// Reads the file version (not the product version) from the version resource of a file.
// Reports the first step that failed. Any thread. Logs nothing; throws std::bad_alloc only.
FileVersionReport readFileVersion(const std::wstring& path);

}  // namespace zuvia
