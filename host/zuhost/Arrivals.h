#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace zuhost {

// Texts in the order in which they came, for whoever looks for one among them or waits for it. Of
// more than kMost the oldest are forgotten. Every operation: any thread.
class Arrivals {
 public:
  static constexpr size_t kMost = 10'000;

  void add(std::string text);
  void clear();

  // Waits until there is a text that matches the pattern, for at most that time. Returns the oldest
  // such text; nothing: none came. take also removes it.
  std::optional<std::string> find(std::string_view pattern, std::chrono::milliseconds timeout);
  std::optional<std::string> take(std::string_view pattern, std::chrono::milliseconds timeout);

  // The texts that are there, for a message: how many, and the last of them.
  std::string summary() const;

 private:
  using Position = std::deque<std::string>::iterator;
  // Returns where it is, or the end. The lock is held before and after.
  Position waitFor(std::unique_lock<std::mutex>& lock, std::string_view pattern, std::chrono::milliseconds timeout);

  mutable std::mutex mutex_;
  std::condition_variable arrival_;
  std::deque<std::string> texts_;
  uint64_t added_ = 0;  // ever
};

}  // namespace zuhost
