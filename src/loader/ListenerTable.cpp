#include "loader/ListenerTable.h"

#include <atomic>
#include <vector>

namespace zuvia {

namespace {

std::atomic<uint64_t> nextListenerId = 100;

}  // namespace

uint64_t ListenerTable::add(const Listener& listener) {
  const uint64_t id = nextListenerId.fetch_add(1);
  const std::lock_guard lock(listenersMutex_);
  listeners_.insert_or_assign(id, listener);
  return id;
}

bool ListenerTable::remove(uint64_t id) {
  const std::lock_guard lock(listenersMutex_);
  return listeners_.erase(id) != 0;
}

void ListenerTable::notify(const char* name, const char* data, const std::function<void()>& called) {
  std::vector<Listener> copies;
  {
    const std::lock_guard lock(listenersMutex_);
    copies.reserve(listeners_.size());
    for (const auto& [id, listener] : listeners_) {
      copies.push_back(listener);
    }
  }
  for (const Listener& listener : copies) {
    listener(name, data);
    called();
  }
}

}  // namespace zuvia
