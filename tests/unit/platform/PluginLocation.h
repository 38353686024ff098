#pragma once

#include <windows.h>

#include <string>

#include "support/ImportHook.h"

namespace zuvia::test {

// Lets this program, into which the product's code is linked, seem to be a plugin of another path, for as
// long as it lives.
class PluginLocation {
 public:
  // path: complete with the file name; "" makes every question fail with that error code.
  explicit PluginLocation(std::wstring path, DWORD error = ERROR_SUCCESS)
      : path_(std::move(path)),
        error_(error),
        hook_(GetModuleHandleW(nullptr), "GetModuleFileNameW",
              [this](auto* original, HMODULE module, wchar_t* name, DWORD size) -> DWORD {
                return module == GetModuleHandleW(nullptr) ? answer(name, size) : original(module, name, size);
              }) {}

  const std::wstring& path() const { return path_; }

 private:
  // As the system answers: what does not fit is cut off, and then nothing terminates it.
  DWORD answer(wchar_t* name, DWORD size) const {
    if (path_.empty()) {
      SetLastError(error_);
      return 0;
    }
    if (path_.size() >= size) {
      path_.copy(name, size);
      SetLastError(ERROR_INSUFFICIENT_BUFFER);
      return size;
    }
    name[path_.copy(name, path_.size())] = L'\0';
    return static_cast<DWORD>(path_.size());
  }

  std::wstring path_;
  DWORD error_;
  ImportHook<decltype(GetModuleFileNameW)> hook_;
};

}  // namespace zuvia::test
