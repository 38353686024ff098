#include "Record.h"

void Record::add(const std::string& line) {
  const std::lock_guard lock(m_mutex);
  m_text += line + '\n';
}

void Record::clear() {
  const std::lock_guard lock(m_mutex);
  m_text.clear();
}

std::string Record::text() const {
  const std::lock_guard lock(m_mutex);
  return m_text;
}

std::string shown(const char* text) {
  return text == nullptr ? "null" : '"' + std::string(text) + '"';
}
