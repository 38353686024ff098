#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>

namespace zuhost {

// Which events have arrived and were not waited for yet. Every operation: any thread.
//
// Each event reaches every listener; it counts when it reaches the first one, so that two
// listeners do not make two events of it.
class EventLog {
 public:
  void addListener(uint64_t id);
  void removeListener(uint64_t id);

  // Returns whether it counts.
  bool arrived(const std::string& name, uint64_t listener);

  bool hasListener() const;

  // The names that have arrived so far.
  std::set<std::string> names() const;

  // Waits until an event of that name arrives, for at most timeout. Returns at once when one has
  // arrived since the last wait for that name. Returns whether one has.
  bool wait(const std::string& name, std::chrono::milliseconds timeout);

 private:
  mutable std::mutex mutex_;
  std::condition_variable arrival_;
  std::set<uint64_t> listeners_;
  std::set<std::string> unseen_;
  std::set<std::string> names_;
};

}  // namespace zuhost
