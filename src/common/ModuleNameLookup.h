#pragma once

#include <string>

#include "platform/Windows.h"

namespace zuvia {

// The system calls that find this module's own name; passed in, because the routine runs before
// anything else of the module and could not be watched there.
struct ModuleNameCalls {
  HMODULE(WINAPI* getModuleHandle)(LPCWSTR) = &GetModuleHandleW;
  FARPROC(WINAPI* getProcAddress)(HMODULE, LPCSTR) = &GetProcAddress;
  DWORD(WINAPI* getModuleFileName)(HMODULE, LPSTR, DWORD) = &GetModuleFileNameA;
};

// What ownModuleName is, found anew.
std::string findModuleName(const ModuleNameCalls& calls);

}  // namespace zuvia
