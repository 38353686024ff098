#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

#include "support/ImportHook.h"

namespace zuvia::test {

// The system time that this program is told, in units of 100 ns since 1970. It stands still until it is set.
class FakeClock {
 public:
  static constexpr int64_t kSecond = 10'000'000;

  explicit FakeClock(int64_t ticks) : ticks_(ticks) {}

  void set(int64_t ticks) { ticks_ = ticks; }
  void advance(int64_t ticks) { ticks_ += ticks; }

 private:
  static constexpr int64_t kTicksFrom1601To1970 = 11'644'473'600 * kSecond;

  std::atomic<int64_t> ticks_;
  ImportHook<decltype(GetSystemTimeAsFileTime)> hook_{
      GetModuleHandleW(nullptr), "GetSystemTimeAsFileTime", [this](auto*, LPFILETIME time) {
        const auto ticks = static_cast<uint64_t>(ticks_ + kTicksFrom1601To1970);
        time->dwLowDateTime = static_cast<DWORD>(ticks);
        time->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
      }};
};

}  // namespace zuvia::test
