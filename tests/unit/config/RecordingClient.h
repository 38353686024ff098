#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "common/config/BssConfig.h"

namespace zuvia::test {

// What a client was given.
struct Delivery {
  bool success = false;
  std::string value;
  bool fromCache = false;

  bool operator==(const Delivery&) const = default;
};

// A configuration client that keeps what it is given.
class RecordingClient : public BssConfig {
 public:
  static constexpr uint64_t kUid = 1234567890123;

  explicit RecordingClient(const std::string& configKey = "the_key") : BssConfig(kUid, "the_code", configKey) {}
  RecordingClient(const RecordingClient&) = delete;
  RecordingClient& operator=(const RecordingClient&) = delete;
  ~RecordingClient() { stop(); }

  // Called inside onFetch, after the delivery was kept. Set it before the fetch.
  std::function<void()> inOnFetch = [] {};

  std::vector<Delivery> deliveries() const {
    const std::lock_guard lock(mutex_);
    return deliveries_;
  }

 protected:
  void onFetch(bool success, const std::string& value, bool fromCache) override {
    {
      const std::lock_guard lock(mutex_);
      deliveries_.push_back({success, value, fromCache});
    }
    inOnFetch();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Delivery> deliveries_;
};

}  // namespace zuvia::test
