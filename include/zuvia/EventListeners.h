#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <zuvia/IWxMonitor.h>

namespace zuvia {

// The listeners of one implementation object. Every operation: any thread, also from inside a
// listener, because none is copied, called or destroyed while the table is locked.
class EventListeners {
 public:
  // Keeps a copy of listener, of an empty one too. Returns its id: 1, 2, 3 and so on; none is given
  // twice. Throws std::bad_alloc and what the copying throws, and has then kept nothing.
  uint64_t add(const Listener& listener) {
    auto copy = std::make_shared<const Listener>(listener);
    const std::lock_guard<std::mutex> lock(mutex_);
    listeners_.emplace(lastId_ + 1, std::move(copy));
    return ++lastId_;
  }

  // Returns whether the id was registered.
  bool remove(uint64_t id) {
    Table::node_type removed;  // destroyed after the lock is released
    const std::lock_guard<std::mutex> lock(mutex_);
    removed = listeners_.extract(id);
    return !removed.empty();
  }

  // Calls the listeners that are registered now, in the order of their ids, on this thread. Those
  // that are added meanwhile do not get the event, those that are removed meanwhile still do. What
  // a listener throws ends the round and passes on; an empty one throws std::bad_function_call.
  // name, data: handed on as they are.
  void raise(const char* name, const char* data) const {
    for (const auto& listener : registered()) (*listener)(name, data);
  }

 private:
  using Table = std::map<uint64_t, std::shared_ptr<const Listener>>;

  std::vector<std::shared_ptr<const Listener>> registered() const {
    std::vector<std::shared_ptr<const Listener>> listeners;
    const std::lock_guard<std::mutex> lock(mutex_);
    listeners.reserve(listeners_.size());
    for (const auto& [id, listener] : listeners_) listeners.push_back(listener);
    return listeners;
  }

  mutable std::mutex mutex_;  // guards what follows, never held while code of a listener runs
  uint64_t lastId_ = 0;
  Table listeners_;
};

}  // namespace zuvia
