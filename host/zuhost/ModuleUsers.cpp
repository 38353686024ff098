#include "ModuleUsers.h"

#include <windows.h>
// After windows.h, on which it depends.
#include <tlhelp32.h>

#include <cwchar>

#include "platform/Handles.h"

namespace zuhost {
namespace {

zuvia::FileHandle snapshot(DWORD what, DWORD process) {
  return zuvia::FileHandle(CreateToolhelp32Snapshot(what, process));
}

}  // namespace

ModuleUsers::ModuleUsers() {
  const auto processes = snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32W process{};
  process.dwSize = sizeof(process);
  for (BOOL more = Process32FirstW(processes.get(), &process); more; more = Process32NextW(processes.get(), &process)) {
    if (process.th32ProcessID == 0) continue;  // the system's own; a snapshot of 0 is one of this process
    const auto modules = snapshot(TH32CS_SNAPMODULE, process.th32ProcessID);
    MODULEENTRY32W module{};
    module.dwSize = sizeof(module);
    for (BOOL next = Module32FirstW(modules.get(), &module); next; next = Module32NextW(modules.get(), &module)) {
      loaded_.push_back({module.szExePath, {process.th32ProcessID, process.szExeFile}});
    }
  }
}

std::vector<ModuleUser> ModuleUsers::of(const std::wstring& path) const {
  std::vector<ModuleUser> users;
  for (const auto& loaded : loaded_) {
    if (_wcsicmp(loaded.path.c_str(), path.c_str()) == 0) users.push_back(loaded.by);
  }
  return users;
}

}  // namespace zuhost
