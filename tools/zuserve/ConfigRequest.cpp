#include "zuserve/ConfigRequest.h"

#include <memory>

#include <json/json.h>

namespace zuvia::zuserve {
namespace {

// Throws Json::Exception when there is a member but it is not a text.
std::string textMember(const Json::Value& object, const char* name) {
  if (!object.isMember(name)) return {};
  if (!object[name].isString()) Json::throwRuntimeError("not a text");
  return object[name].asString();
}

}  // namespace

std::optional<ConfigRequest> parseConfigRequest(const std::string& body) {
  Json::CharReaderBuilder settings;
  settings["failIfExtra"] = true;
  const std::unique_ptr<Json::CharReader> reader(settings.newCharReader());
  try {
    Json::Value value;
    if (!reader->parse(body.data(), body.data() + body.size(), &value, nullptr) || !value.isObject())
      return std::nullopt;
    const Json::Value extend = value.get("extendInfo", Json::Value(Json::objectValue));
    return ConfigRequest{textMember(value, "version"), textMember(value, "osVersion"), textMember(extend, "hostver"),
                         textMember(extend, "hitseq")};
  } catch (const Json::Exception&) {
    return std::nullopt;
  }
}

}  // namespace zuvia::zuserve
