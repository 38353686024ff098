#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace zuhost {

// The lines that a person has entered, oldest first, kept in a file of UTF-8 lines from one session to the next.
class History {
 public:
  static constexpr size_t kMost = 1000;

  History() = default;  // kept nowhere

  // Reads the file, and shortens it when it holds more than kMost lines. A file that is not there, or cannot be read,
  // is an empty history; it is made with the first line that is added.
  explicit History(std::filesystem::path file);

  // Adds a line and appends it to the file. Not kept: an empty line, one that begins with a blank, and one that is the
  // same as the last. That the file cannot be written is no failure.
  void add(const std::string& line);

  const std::vector<std::string>& lines() const { return lines_; }

 private:
  void shorten();

  std::filesystem::path file_;
  std::vector<std::string> lines_;
};

// Where a person's history is kept; empty when Windows names no such place.
std::filesystem::path historyFile();

}  // namespace zuhost
