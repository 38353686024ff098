#pragma once

#include <string>

namespace zuvia {

// What an answer of the configuration service says about one key.
enum class ConfigAnswer {
  NotJson,
  NoValue,  // "configs" is missing or null, or does not hold the key
  Value,
};

// Reads an answer.
// value: set to the key's member as a text with Value, else left alone; a null member gives "".
// errors: set to the parser's words with NotJson, emptied otherwise.
// Throws what the JSON library throws (a standard exception) when the answer is nested too deep, it or its
// "configs" is neither an object nor null, or the member cannot be converted to a text. Any thread.
ConfigAnswer parseConfigAnswer(const std::string& body, const std::string& key, std::string& value,
                               std::string& errors);

}  // namespace zuvia
