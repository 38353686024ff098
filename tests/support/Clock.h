#pragma once

#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstdint>

#include "support/ImportHook.h"

namespace zuvia::test {

// The time that a module is told by GetSystemTimeAsFileTime, for as long as it lives. It stands still except
// when a test moves it. The run-time library within the module is told the same; steady clocks, time() and the
// waits of the system go on as usual. Any thread.
class Clock {
 public:
  using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;  // 100 ns, as in a FILETIME

  // Begins with the true time. Throws as ImportHook does.
  explicit Clock(HMODULE module);

  // Since 1601-01-01 00:00:00 UTC.
  Ticks now() const { return Ticks(now_.load()); }
  void set(Ticks time) { now_ = time.count(); }

  // May be negative: the clock is put back.
  template <typename Rep, typename Period>
  void advance(std::chrono::duration<Rep, Period> time) {
    now_ += std::chrono::duration_cast<Ticks>(time).count();
  }

 private:
  std::atomic<std::int64_t> now_;
  ImportHook<decltype(GetSystemTimeAsFileTime)> hook_;
};

}  // namespace zuvia::test
