#pragma once

#include <windows.h>

#include <atomic>
#include <optional>
#include <string>
#include <string_view>

#include "Journal.h"
#include "support/ImportHook.h"

namespace zuvia::test {

inline constexpr const wchar_t* kCurlMutex = L"Local\\ZuviaPluginCurlGlobal";

// What is done with the mutex of all transfers, into the journal: "mutex opened", "mutex waited for 60000",
// "mutex released", "mutex closed". One use of the mutex at a time.
class CurlMutexWatch {
 public:
  // What opening it, or waiting for it, is to answer instead of the truth.
  struct Faults {
    bool opening = false;
    std::optional<DWORD> waiting = {};
    DWORD lastError = ERROR_SUCCESS;
  };

  CurlMutexWatch() : CurlMutexWatch(Faults()) {}
  explicit CurlMutexWatch(const Faults& faults) : m_faults(faults) {}

 private:
  static HMODULE self() { return GetModuleHandleW(nullptr); }
  bool isMine(HANDLE handle) const { return handle != nullptr && handle == m_handle; }

  HANDLE open(decltype(CreateMutexW)* original, LPSECURITY_ATTRIBUTES attributes, BOOL owned, const wchar_t* name) {
    if (name == nullptr || std::wstring_view(name) != kCurlMutex) return original(attributes, owned, name);
    Journal::instance().add(owned ? "mutex opened and owned" : "mutex opened");
    m_handle = m_faults.opening ? nullptr : original(attributes, owned, name);
    if (m_faults.opening) SetLastError(m_faults.lastError);
    return m_handle;
  }

  DWORD wait(decltype(WaitForSingleObject)* original, HANDLE handle, DWORD milliseconds) const {
    if (!isMine(handle)) return original(handle, milliseconds);
    Journal::instance().add("mutex waited for " + std::to_string(milliseconds));
    if (!m_faults.waiting) return original(handle, milliseconds);
    SetLastError(m_faults.lastError);
    return *m_faults.waiting;
  }

  BOOL release(decltype(ReleaseMutex)* original, HANDLE handle) const {
    if (isMine(handle)) Journal::instance().add("mutex released");
    return original(handle);
  }

  BOOL close(decltype(CloseHandle)* original, HANDLE handle) {
    if (isMine(handle)) {
      Journal::instance().add("mutex closed");
      m_handle = nullptr;
    }
    return original(handle);
  }

  const Faults m_faults;
  std::atomic<HANDLE> m_handle = nullptr;
  ImportHook<decltype(CreateMutexW)> m_open{self(), "CreateMutexW",
                                            [this](auto* original, auto... args) { return open(original, args...); }};
  ImportHook<decltype(WaitForSingleObject)> m_wait{
      self(), "WaitForSingleObject", [this](auto* original, auto... args) { return wait(original, args...); }};
  ImportHook<decltype(ReleaseMutex)> m_release{
      self(), "ReleaseMutex", [this](auto* original, auto... args) { return release(original, args...); }};
  ImportHook<decltype(CloseHandle)> m_close{self(), "CloseHandle",
                                            [this](auto* original, auto... args) { return close(original, args...); }};
};

}  // namespace zuvia::test
