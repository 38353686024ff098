#include "ListenerTable.h"

namespace sample {

uint64_t ListenerTable::add(const zuvia::Listener& listener) {
  const std::lock_guard lock(mutex_);
  listeners_.emplace(++lastId_, listener);
  return lastId_;
}

bool ListenerTable::remove(uint64_t id) {
  // Taken out under the lock and destroyed after it: what a listener holds may call back.
  std::map<uint64_t, zuvia::Listener>::node_type removed;
  const std::lock_guard lock(mutex_);
  removed = listeners_.extract(id);
  return !removed.empty();
}

void ListenerTable::raise(const char* name, const char* data) const {
  std::unique_lock lock(mutex_);
  const auto listeners = listeners_;
  lock.unlock();
  for (const auto& [id, listener] : listeners) listener(name, data);
}

}  // namespace sample
