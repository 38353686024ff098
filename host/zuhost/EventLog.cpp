#include "EventLog.h"

namespace zuhost {

void EventLog::addListener(uint64_t id) {
  const std::lock_guard lock(mutex_);
  listeners_.insert(id);
}

void EventLog::removeListener(uint64_t id) {
  const std::lock_guard lock(mutex_);
  listeners_.erase(id);
}

void EventLog::arrived(const std::string& name, uint64_t listener) {
  const std::lock_guard lock(mutex_);
  if (listeners_.empty() || *listeners_.begin() != listener) return;
  unseen_.insert(name);
  arrival_.notify_all();
}

bool EventLog::wait(const std::string& name, std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  arrival_.wait_for(lock, timeout, [&] { return unseen_.contains(name); });
  return unseen_.erase(name) != 0;
}

}  // namespace zuhost
