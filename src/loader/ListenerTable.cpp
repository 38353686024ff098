#include "loader/ListenerTable.h"

#include <algorithm>
#include <atomic>

namespace zuvia {

namespace {

std::atomic<uint64_t> nextListenerId = 100;

}  // namespace

uint64_t ListenerTable::add(const Listener& listener) {
  const uint64_t id = nextListenerId.fetch_add(1);
  const std::lock_guard lock(listenersMutex_);
  // Another thread may have drawn a higher id and been faster.
  const auto place = std::ranges::upper_bound(listeners_, id, {}, &Entry::id);
  listeners_.insert(place, Entry{id, listener});
  return id;
}

bool ListenerTable::remove(uint64_t id) {
  const std::lock_guard lock(listenersMutex_);
  return std::erase_if(listeners_, [id](const Entry& entry) { return entry.id == id; }) != 0;
}

std::vector<ListenerTable::Entry> ListenerTable::copies() {
  const std::lock_guard lock(listenersMutex_);
  return listeners_;
}

}  // namespace zuvia
