#pragma once

// Before windows.h.
#include <winsock2.h>

#include <atomic>
#include <chrono>
#include <string_view>

#include "support/ImportHook.h"

namespace zuvia::test {

// The time that libcurl, linked into a module, measures its transfers with. It stands still except when it is
// moved, and libcurl looks at it every few milliseconds, where it otherwise waits for up to a second. Other clocks
// of the module go on as usual. Any thread.
class TransferClock {
 public:
  using Duration = std::chrono::milliseconds;

  // Throws as ImportHook does.
  explicit TransferClock(HMODULE module);

  // Sets how long after its beginning it is.
  void set(Duration sinceBeginning) { sinceBeginning_ = sinceBeginning.count(); }

  // How long after its beginning it is.
  Duration passed() const { return Duration(sinceBeginning_); }

  // From now on it moves by so much with each byte that comes in a record of TLS of its own.
  void moveWithEachByte(Duration step) { step_ = step.count(); }

  // Returns when a transfer that runs has looked at it, as it stands now, or has ended: after 2 seconds at most.
  void waitForLook() const;

 private:
  using Count = decltype(QueryPerformanceCounter);
  using Wait = decltype(WSAWaitForMultipleEvents);
  using Receive = decltype(recv);

  BOOL tell(LARGE_INTEGER* counter) const;
  void noteReceived(std::string_view received);

  LARGE_INTEGER beginning_ = {};
  LARGE_INTEGER frequency_ = {};
  std::atomic<LONGLONG> sinceBeginning_ = 0;  // milliseconds
  std::atomic<LONGLONG> step_ = 0;
  std::atomic<unsigned> waits_ = 0;
  ImportHook<Count> countHook_;
  ImportHook<Wait> waitHook_;
  ImportHook<Receive> receiveHook_;
};

}  // namespace zuvia::test
