#pragma once

#include <zuvia/IWxMonitor.h>

#include <mutex>
#include <string>
#include <vector>

namespace zuvia::test {

// Writes down the events that its listeners receive, as "NAME=DATA". Any thread.
class Events {
 public:
  // A listener whose entries begin with this text. It must not outlive this object.
  Listener listener(const std::string& prefix = {}) {
    return [this, prefix](const char* name, const char* data) {
      add(prefix + (name == nullptr ? "(null)" : name) + '=' + (data == nullptr ? "(null)" : data));
    };
  }

  void add(const std::string& text) {
    const std::lock_guard lock(m_mutex);
    m_texts.push_back(text);
  }

  std::vector<std::string> texts() const {
    const std::lock_guard lock(m_mutex);
    return m_texts;
  }

  void clear() {
    const std::lock_guard lock(m_mutex);
    m_texts.clear();
  }

 private:
  mutable std::mutex m_mutex;
  std::vector<std::string> m_texts;
};

}  // namespace zuvia::test
