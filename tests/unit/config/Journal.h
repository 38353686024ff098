#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace zuvia::test {

// What happened, in order, in few words each. Any thread.
class Journal {
 public:
  // The one of the process, for those who are called without any state of their own.
  static Journal& instance() {
    static Journal& journal = *new Journal;  // a thread may still write into it while the process ends
    return journal;
  }

  void add(std::string event) {
    const std::lock_guard lock(m_mutex);
    m_events.push_back(std::move(event));
  }

  std::vector<std::string> events() const {
    const std::lock_guard lock(m_mutex);
    return m_events;
  }

  // Forgets what happened so far.
  void clear() {
    const std::lock_guard lock(m_mutex);
    m_events.clear();
  }

 private:
  mutable std::mutex m_mutex;
  std::vector<std::string> m_events;
};

}  // namespace zuvia::test
