#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include <zuvia/IWxMonitor.h>

namespace zuvia {

// The host's event listeners. Any thread; also from inside a listener, because none runs while the
// lock is held. A failing lock throws std::system_error.
class ListenerTable {
 public:
  // Keeps a copy, an empty one as well. Returns its id: process-wide from 100 upwards, never reused.
  uint64_t add(const Listener& listener);

  // Returns whether the id was registered.
  bool remove(uint64_t id);

  // Calls every listener, as of now, in ascending order of ids, and `called` after each. What a
  // listener throws ends the round and passes on; an empty one throws std::bad_function_call.
  template <typename Called>
  void notify(const char* name, const char* data, Called called) {
    for (const Entry& entry : copies()) {
      entry.listener(name, data);
      called();
    }
  }

 private:
  struct Entry {
    uint64_t id;
    Listener listener;
  };

  std::vector<Entry> copies();

  std::mutex listenersMutex_;     // guards listeners_, never held while a listener runs
  std::vector<Entry> listeners_;  // in ascending order of ids
};

}  // namespace zuvia
