#pragma once

#include <windows.h>

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "support/ImportHook.h"
#include "support/SlimMutex.h"

namespace zuvia::test {

// Tells what a module does with its named mutexes. The module stays loaded for as long as this lives.
class LockWatch {
 public:
  // wants: it waits for one; holds: it was given it; left: it released it, or gave up waiting. On the thread that does
  // it.
  using Tell = std::function<void(const std::string& step, const std::wstring& name)>;

  LockWatch(HMODULE module, Tell tell);

 private:
  DWORD wait(decltype(&WaitForSingleObject) original, HANDLE handle, DWORD milliseconds);
  void say(const std::string& step, HANDLE handle);
  void keep(HANDLE handle, const wchar_t* name);
  void forget(HANDLE handle);
  std::optional<std::wstring> nameOf(HANDLE handle);

  const Tell tell_;
  SlimMutex mutex_;  // guards names_
  std::map<HANDLE, std::wstring> names_;
  ImportHook<decltype(CreateMutexW)> create_;
  ImportHook<decltype(WaitForSingleObject)> wait_;
  ImportHook<decltype(ReleaseMutex)> release_;
  ImportHook<decltype(CloseHandle)> close_;
};

}  // namespace zuvia::test
