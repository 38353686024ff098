#pragma once

#include <windows.h>

#include <string>

#include "integration/faults/Fault.h"

namespace zuvia::test {

// What VerQueryValueW answers about the fixed information of a file.
struct FixedInfoAnswer {
  BOOL result = TRUE;
  bool hasInfo = true;  // it gives a pointer, to what the file really holds
  UINT length = 52;
  DWORD lastError = kGreatError;
};

// The version resource of one file is answered so. The file's resource can be read.
Fault answeringFixedInfo(const std::wstring& path, const FixedInfoAnswer& answer);

}  // namespace zuvia::test
