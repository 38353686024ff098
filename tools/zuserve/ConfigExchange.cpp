#include "zuserve/ConfigExchange.h"

#include <memory>

#include <json/json.h>

#include "shared/EntryText.h"

namespace zuvia::zuserve {
namespace {

constexpr const char* kUpdateKey = "zu_plugin_update";

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

std::string configAnswer(const std::optional<UpdateEntry>& entry) {
  Json::Value answer(Json::objectValue);
  answer["configs"] = Json::Value(Json::objectValue);
  if (entry) answer["configs"][kUpdateKey] = tools::entryText(*entry, tools::EntryLayout::Compact);
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  return Json::writeString(writer, answer);
}

}  // namespace zuvia::zuserve
