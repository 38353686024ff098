#pragma once

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace zuhost {

// What may stand at the end of a line that is being typed.
struct Completion {
  size_t begin = 0;                // where in the line the words go, in bytes; up to the line's end
  std::vector<std::string> words;  // in their order; none: nothing is known
  bool isRest = false;             // they belong to an argument that takes the rest of the line, blanks included
};

// Returns the names in a directory, in UTF-8, those of directories with a backslash at the end; none when it
// cannot be listed. "" is the current directory.
using DirectoryNames = std::function<std::vector<std::string>(const std::string& directory)>;

// line: what stands before the cursor. events: names beside those that the plugin raises itself.
Completion completionOf(std::string_view line, const std::set<std::string>& events, const DirectoryNames& namesIn);

// The names in a directory of this machine.
std::vector<std::string> namesInDirectory(const std::string& directory);

// What all of the words begin with.
std::string commonBeginning(const std::vector<std::string>& words);

}  // namespace zuhost
