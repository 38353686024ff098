#include "common/ModuleName.h"

#include <array>
#include <cstring>

#include "common/ModuleNameLookup.h"

namespace zuvia {

namespace {

using GetModuleHandleExFunction = BOOL(WINAPI*)(DWORD, LPCWSTR, HMODULE*);

constexpr DWORD kPathSize = 512;

// One more than the system is offered: a path that fills all of it need not be terminated.
using ModulePath = std::array<char, kPathSize + 1>;

const char* afterLastBackslash(const char* path) {
  const char* backslash = std::strrchr(path, '\\');
  return backslash == nullptr ? path : backslash + 1;
}

// Fills the path, which must be empty, and returns its file name part, or "".
const char* readModuleName(const ModuleNameCalls& calls, ModulePath& path) {
  const HMODULE kernel = calls.getModuleHandle(L"Kernel32.dll");
  if (kernel == nullptr) {
    return "";
  }
  const FARPROC found = calls.getProcAddress(kernel, "GetModuleHandleExW");
  if (found == nullptr) {
    return "";
  }
  const auto getModuleHandleEx = reinterpret_cast<GetModuleHandleExFunction>(reinterpret_cast<void*>(found));
  HMODULE module = nullptr;
  constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  if (!getModuleHandleEx(kFlags, reinterpret_cast<LPCWSTR>(&readModuleName), &module)) {
    return "";
  }
  calls.getModuleFileName(module, path.data(), kPathSize);
  return afterLastBackslash(path.data());
}

ModulePath ownPath = {};

}  // namespace

std::string findModuleName(const ModuleNameCalls& calls) {
  ModulePath path = {};
  return readModuleName(calls, path);
}

const char* const ownModuleName = readModuleName(ModuleNameCalls(), ownPath);

}  // namespace zuvia
