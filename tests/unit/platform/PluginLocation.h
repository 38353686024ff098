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
      : m_path(std::move(path)),
        m_error(error),
        m_hook(GetModuleHandleW(nullptr), "GetModuleFileNameW",
               [this](auto* original, HMODULE module, wchar_t* name, DWORD size) -> DWORD {
                 return module == GetModuleHandleW(nullptr) ? answer(name, size) : original(module, name, size);
               }) {}

  const std::wstring& path() const { return m_path; }

 private:
  // As the system answers: what does not fit is cut off, and then nothing terminates it.
  DWORD answer(wchar_t* name, DWORD size) const {
    if (m_path.empty()) {
      SetLastError(m_error);
      return 0;
    }
    if (m_path.size() >= size) {
      m_path.copy(name, size);
      SetLastError(ERROR_INSUFFICIENT_BUFFER);
      return size;
    }
    name[m_path.copy(name, m_path.size())] = L'\0';
    return static_cast<DWORD>(m_path.size());
  }

  std::wstring m_path;
  DWORD m_error;
  ImportHook<decltype(GetModuleFileNameW)> m_hook;
};

}  // namespace zuvia::test
