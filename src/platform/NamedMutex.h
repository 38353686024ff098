#pragma once

#include <string>

#include "platform/Handles.h"

namespace zuvia {

// Holding a named mutex, from the moment it was acquired until the end of the scope, on one thread.
// The mutex and the holding of it end together: it is released, then closed. Empty when it could
// not be had.
class MutexHold {
 public:
  MutexHold() = default;
  explicit MutexHold(MutexHandle owned) : mutex_(std::move(owned)) {}
  MutexHold(MutexHold&&) noexcept = default;
  MutexHold& operator=(MutexHold&&) = delete;
  ~MutexHold() { release(); }

  explicit operator bool() const { return static_cast<bool>(mutex_); }

  // Releases and closes the mutex now.
  void release();

 private:
  MutexHandle mutex_;
};

// Opens the named mutex, made if missing, and waits until it is this thread's.
//
// name: with the namespace in front, as in L"Local\\Name".
// milliseconds: how long to wait at most.
// A mutex that its owner abandoned counts as acquired. Any other outcome (it cannot be made, time
// ran out, the wait failed) gives an empty hold with nothing left open; GetLastError() then is what
// the system left behind, also after the handle was closed. Any thread. Logs nothing.
MutexHold acquireNamedMutex(const std::wstring& name, DWORD milliseconds);

}  // namespace zuvia
