#pragma once

#include <zuvia/IWxMonitor.h>
#include <cstdint>
#include <map>
#include <mutex>

namespace sample {

// The listeners of an implementation object. Every operation: any thread, also from inside a
// listener, for none is called while the table is locked.
class ListenerTable {
 public:
  // Keeps a copy of listener. Returns its id: 1, 2, 3 and so on.
  uint64_t add(const zuvia::Listener& listener);

  // Returns whether the id was registered.
  bool remove(uint64_t id);

  // Calls the listeners that are registered now, in the order of their ids, on this thread. What a
  // listener throws ends the call and passes.
  void raise(const char* name, const char* data) const;

 private:
  mutable std::mutex mutex_;
  uint64_t lastId_ = 0;
  std::map<uint64_t, zuvia::Listener> listeners_;
};

}  // namespace sample
