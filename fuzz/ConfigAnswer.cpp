#include "common/config/ConfigAnswer.h"

#include <optional>
#include <string>

#include <json/value.h>

#include "Targets.h"
#include "Text.h"

namespace zuvia::fuzz {

namespace {

// The value that an answer has for the key.
std::optional<std::string> read(const std::string& body, const std::string& key) {
  std::string value = "before";
  std::string errors;
  try {
    const ConfigAnswer answer = parseConfigAnswer(body, key, value, errors);
    require((answer == ConfigAnswer::NotJson) == !errors.empty(), "the parser has words for what is no JSON only");
    if (answer == ConfigAnswer::Value) return value;
  } catch (const Json::Exception&) {
  }
  require(value == "before", "without a value nothing is changed");
  return std::nullopt;
}

void checkWritten(const std::string& key, const std::string& value) {
  const auto again = read("{\"configs\":{" + quoted(key) + ":" + quoted(value) + "}}", key);
  require(again == value, "a value of any bytes is read as it was written");
}

}  // namespace

void configAnswer(std::string_view input) {
  const std::string body(input);
  const std::string key = "zu_plugin_update";
  require(!read(body, std::string(body.size() + 1, 'k')), "a key that the answer has no room for is not found");
  checkWritten(key, body);
  const auto value = read(body, key);
  if (value) checkWritten(key, *value);
}

}  // namespace zuvia::fuzz
