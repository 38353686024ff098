#include "common/config/ConfigAnswer.h"

#include <sstream>

#include <json/reader.h>
#include <json/value.h>

namespace zuvia {

ConfigAnswer parseConfigAnswer(const std::string& body, const std::string& key, std::string& value,
                               std::string& errors) {
  std::istringstream stream(body);
  Json::Value parsed;
  if (!Json::parseFromStream(Json::CharReaderBuilder(), stream, &parsed, &errors)) {
    return ConfigAnswer::NotJson;
  }
  const Json::Value& answer = parsed;
  const Json::Value& configs = answer["configs"];
  if (configs.isNull() || !configs.isMember(key)) {
    return ConfigAnswer::NoValue;
  }
  value = configs[key].asString();
  return ConfigAnswer::Value;
}

}  // namespace zuvia
