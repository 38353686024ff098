#pragma once

#include <string>
#include <string_view>

namespace zuvia {

// Trims blanks, tabs, carriage returns and line feeds from both ends.
std::string_view trimHitSequence(std::string_view line);

// A new hit sequence id: 16 upper-case hexadecimal digits, seeded from the time in seconds. Two
// made within one second are equal; an id is made once per installation.
std::string makeHitSequence();

}  // namespace zuvia
