#pragma once

#include <atomic>
#include <cstdint>

namespace zuvia {

// Lets one fetch pass per 61 seconds, whoever asks. Any thread.
class FetchGate {
 public:
  // now: seconds since 1970-01-01 UTC, as 32 bits.
  // Returns whether the caller may fetch; of several that ask at the same time one may. A clock that was put back by
  // more than a minute lets the next one pass.
  bool tryPass(uint32_t now) {
    constexpr uint32_t kIntervalSeconds = 60;
    uint32_t last = lastFetchSeconds_.load();
    // Another may have looked at the clock later and passed since.
    const bool overtaken = now < last && last - now <= kIntervalSeconds;
    if (overtaken || now - last <= kIntervalSeconds) {
      return false;
    }
    return lastFetchSeconds_.compare_exchange_strong(last, now);
  }

 private:
  std::atomic<uint32_t> lastFetchSeconds_ = 0;
};

}  // namespace zuvia
