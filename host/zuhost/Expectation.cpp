#include "Expectation.h"

#include <optional>

#include "Command.h"

namespace zuhost {
namespace {

using std::chrono::milliseconds;

Expectation::Of kindOf(const std::string& word) {
  if (word == "RESULT") return Expectation::Of::Result;
  if (word == "EVENT") return Expectation::Of::Event;
  if (word == "LOG") return Expectation::Of::Log;
  throw BadCommand("expect RESULT, EVENT or LOG, not \"" + word + '"');
}

}  // namespace

Expectation parseExpectation(std::string_view argument) {
  std::optional<milliseconds> within;
  std::string word = takeWord(argument);
  if (word == "--within") {
    within = millisecondsIn(takeWord(argument));
    word = takeWord(argument);
  }
  const Expectation::Of of = kindOf(word);
  if (of == Expectation::Of::Result && within) throw BadCommand("--within is for EVENT and LOG: a result is there");
  const milliseconds usual = of == Expectation::Of::Event ? kEventPatience : milliseconds(0);
  return {.of = of, .within = within.value_or(usual), .pattern = std::string(argument)};
}

}  // namespace zuhost
