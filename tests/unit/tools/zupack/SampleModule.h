#pragma once

#include <string>

#include "support/Files.h"

namespace zuvia::test {

// The sample implementation of a version, as the build made it.
inline std::wstring sampleModule(const std::wstring& version = L"2.0.0.47") {
  return joinPath(parentOf(programDirectory()), L"sample\\" + version + L"\\zuimpl.dll");
}

}  // namespace zuvia::test
