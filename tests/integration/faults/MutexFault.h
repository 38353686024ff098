#pragma once

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "integration/faults/Fault.h"

namespace zuvia::test {

// What goes wrong with a named mutex.
struct MutexTrouble {
  std::size_t use = 1;                       // the first opening of it, or a later one
  std::optional<DWORD> creationError = {};   // it cannot be made
  std::optional<DWORD> waitResult = {};      // what the wait answers instead of waiting
  DWORD waitError = kGreatError;             // and the error code that it leaves
  std::function<void()> beforeWait = [] {};  // on the thread that is about to wait
  std::function<void()> afterWait = [] {};   // on the same thread, with the mutex held
};

// Watches one use of a named mutex by the plugin, from its opening to its closing, with or without trouble. Lives
// from before that use until no thread is inside the plugin any more. Other mutexes and waits pass.
class MutexFault : public ArmedFault {
 public:
  MutexFault(HMODULE plugin, std::wstring name, MutexTrouble trouble);

  // Whether it was waited for, or could not be made.
  bool happened() const override { return happened_; }

  // What was done: "open", "wait 60000", "release", "close". "open owned" where it was to be owned at once.
  std::vector<std::string> steps() const;

 private:
  HANDLE open(decltype(CreateMutexW)* original, SECURITY_ATTRIBUTES* attributes, BOOL owned, const wchar_t* name);
  DWORD wait(decltype(WaitForSingleObject)* original, HANDLE object, DWORD milliseconds);
  BOOL release(decltype(ReleaseMutex)* original, HANDLE object);
  BOOL close(decltype(CloseHandle)* original, HANDLE object);
  bool isMine(HANDLE object) const { return object != nullptr && object == handle_; }
  void add(const std::string& step);

  const std::wstring name_;
  const MutexTrouble trouble_;
  std::atomic<std::size_t> uses_ = 0;
  std::atomic<HANDLE> handle_ = nullptr;
  std::atomic<bool> happened_ = false;
  mutable std::mutex mutex_;
  std::vector<std::string> steps_;
  ImportHook<decltype(CreateMutexW)> open_;
  ImportHook<decltype(WaitForSingleObject)> wait_;
  ImportHook<decltype(ReleaseMutex)> release_;
  ImportHook<decltype(CloseHandle)> close_;
};

}  // namespace zuvia::test
