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

// The file name part of this module's own path, in the ANSI code page; "" when it cannot be found.
std::string findModuleName(const ModuleNameCalls& calls);

// The same, found once while the module was loaded. Any thread; owned by the module.
const char* moduleName();

}  // namespace zuvia
