#include "Record.h"

void Record::add(const std::string& line) {
  const std::lock_guard lock(mutex_);
  text_ += line + '\n';
}

void Record::clear() {
  const std::lock_guard lock(mutex_);
  text_.clear();
}

std::string Record::text() const {
  const std::lock_guard lock(mutex_);
  return text_;
}

std::string shown(const char* text) {
  return text == nullptr ? "null" : '"' + std::string(text) + '"';
}
