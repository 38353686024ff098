#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>

#include "LineSplitter.h"

namespace zuhost {

// The script cannot be read. what() names it, in UTF-8.
class UnreadableScript : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The lines of a script in a file, in UTF-8, with or without a byte order mark.
class Script {
 public:
  // Throws UnreadableScript.
  explicit Script(const std::filesystem::path& file);

  // Takes the next line, without its end. Nothing: that was the last.
  std::optional<std::string> nextLine();

  // Where the line is that was taken last: "FILE:NUMBER".
  std::string position() const;

 private:
  std::string name_;
  LineSplitter lines_;
  size_t number_ = 0;
};

}  // namespace zuhost
