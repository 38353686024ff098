#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace zuhost {

// What a line "expect …" asks for.
struct Expectation {
  enum class Of { Result, Event, Log };

  Of of;
  std::chrono::milliseconds within;  // how long to wait for it
  std::string pattern;
};

// How long "expect EVENT" waits when the line does not say.
inline constexpr std::chrono::milliseconds kEventPatience{10'000};

// Reads what follows "expect": [--within MS] RESULT|EVENT|LOG [PATTERN]. The pattern is the rest of
// the text as it is; without one the text that is looked at must be empty. Throws BadCommand.
Expectation parseExpectation(std::string_view argument);

}  // namespace zuhost
