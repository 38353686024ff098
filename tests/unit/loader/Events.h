#pragma once

#include <zuvia/IWxMonitor.h>

#include <mutex>
#include <string>
#include <vector>

namespace zuvia::test {

// Writes down the events that its listeners receive, as "NAME=DATA". Any thread.
class Events {
 public:
  // A listener whose entries begin with this text. It must not outlive this object.
  Listener listener(const std::string& prefix = {}) {
    return [this, prefix](const char* name, const char* data) {
      add(prefix + (name == nullptr ? "(null)" : name) + '=' + (data == nullptr ? "(null)" : data));
    };
  }

  void add(const std::string& text) {
    const std::lock_guard lock(mutex_);
    texts_.push_back(text);
  }

  std::vector<std::string> texts() const {
    const std::lock_guard lock(mutex_);
    return texts_;
  }

  void clear() {
    const std::lock_guard lock(mutex_);
    texts_.clear();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> texts_;
};

}  // namespace zuvia::test
