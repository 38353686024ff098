#include "platform/ModuleDirectory.h"

#include <array>

#include <shlwapi.h>

namespace zuvia {

ModuleDirectoryReport findModuleDirectory() {
  ModuleDirectoryReport report;

  HMODULE module = nullptr;
  constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  if (!GetModuleHandleExW(kFlags, reinterpret_cast<LPCWSTR>(&findModuleDirectory), &module)) {
    report.error = GetLastError();
    return report;
  }

  // A name that fills all the characters it is offered comes back without a terminator.
  std::array<wchar_t, MAX_PATH + 1> path = {};
  if (GetModuleFileNameW(module, path.data(), MAX_PATH) == 0) {
    report.error = GetLastError();
    report.step = ModuleDirectoryReport::Step::FileName;
    return report;
  }

  PathRemoveFileSpecW(path.data());
  report.directory = path.data();
  report.step = ModuleDirectoryReport::Step::Done;
  return report;
}

}  // namespace zuvia
