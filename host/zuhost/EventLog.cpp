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

bool EventLog::arrived(const std::string& name, uint64_t listener) {
  const std::lock_guard lock(mutex_);
  if (listeners_.empty() || *listeners_.begin() != listener) return false;
  unseen_.insert(name);
  names_.insert(name);
  arrival_.notify_all();
  return true;
}

bool EventLog::hasListener() const {
  const std::lock_guard lock(mutex_);
  return !listeners_.empty();
}

std::set<std::string> EventLog::names() const {
  const std::lock_guard lock(mutex_);
  return names_;
}

bool EventLog::wait(const std::string& name, std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  arrival_.wait_for(lock, timeout, [&] { return unseen_.contains(name); });
  return unseen_.erase(name) != 0;
}

}  // namespace zuhost
