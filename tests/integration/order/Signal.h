#pragma once

#include <windows.h>

namespace zuvia::test {

// Something that happens once, for which other threads wait. Any thread.
class Signal {
 public:
  Signal() : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
  ~Signal() { CloseHandle(event_); }
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;

  void set() { SetEvent(event_); }

  // Returns whether it happened within that time.
  bool wait(DWORD milliseconds = 20000) const { return WaitForSingleObject(event_, milliseconds) == WAIT_OBJECT_0; }

 private:
  HANDLE event_;
};

}  // namespace zuvia::test
