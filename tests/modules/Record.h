#pragma once

#include <mutex>
#include <string>

// The calls that a module has received, one line each, in their order. Any thread.
class Record {
 public:
  void add(const std::string& line);
  void clear();

  // The lines, each with a line break.
  std::string text() const;

 private:
  mutable std::mutex mutex_;
  std::string text_;
};

// A text as a record shows it; null differs from "".
std::string shown(const char* text);
