#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace zuvia::zuserve {

// Ends waits. Any thread.
class StopSignal {
 public:
  void raise() {
    const std::lock_guard lock(mutex_);
    isRaised_ = true;
    changed_.notify_all();
  }

  bool isRaised() const { return waitFor(std::chrono::milliseconds(0)); }

  // Waits for it, for so long at most. Returns whether it was raised.
  bool waitFor(std::chrono::milliseconds duration) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, duration, [this] { return isRaised_; });
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  bool isRaised_ = false;
};

}  // namespace zuvia::zuserve
