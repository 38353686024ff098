#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace zuvia::test {

// What happened, in order, in few words each. Any thread.
class Journal {
 public:
  // The one of the process, for those who are called without any state of their own.
  static Journal& instance() {
    static Journal& journal = *new Journal;  // a thread may still write into it while the process ends
    return journal;
  }

  void add(std::string event) {
    const std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
  }

  std::vector<std::string> events() const {
    const std::lock_guard lock(mutex_);
    return events_;
  }

  // Forgets what happened so far.
  void clear() {
    const std::lock_guard lock(mutex_);
    events_.clear();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> events_;
};

}  // namespace zuvia::test
