#pragma once

#include <string>
#include <string_view>

namespace zuhost {

// Whether the whole text is what the pattern says: "*" stands for any characters, also none, "?" for
// exactly one, anything else for itself, letter case included. Both in UTF-8; what is not valid counts
// as U+FFFD.
bool matches(std::string_view pattern, std::string_view text);

// Returns a pattern for one line of a script that matches this text: "?" takes the place of each
// character that would end the line, get lost at its beginning, or stand for others.
std::string patternFor(std::string_view text);

}  // namespace zuhost
