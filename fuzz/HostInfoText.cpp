#include "loader/HostInfoText.h"

#include <optional>
#include <string>
#include <tuple>

#include <json/value.h>

#include "Targets.h"
#include "Text.h"

namespace zuvia::fuzz {

namespace {

bool same(const HostInfoText& left, const HostInfoText& right) {
  const auto parts = [](const HostInfoText& info) {
    return std::tie(info.uid, info.version, info.appPath, info.testEnv);
  };
  return parts(left) == parts(right);
}

// What an accepted text says.
std::optional<HostInfoText> read(const std::string& json) {
  const HostInfoText before{.uid = 7, .version = "before", .appPath = "before", .testEnv = true};
  HostInfoText info = before;
  std::string errors;
  bool accepted = false;
  try {
    accepted = parseHostInfo(json.c_str(), info, errors);
  } catch (const Json::Exception&) {
    return std::nullopt;
  }
  require(accepted == errors.empty(), "the parser has words when it refuses, and only then");
  require(accepted || same(info, before), "a text that is no JSON changes nothing");
  return accepted ? std::optional(info) : std::nullopt;
}

std::string written(const HostInfoText& info) {
  return "{\"uid\":" + std::to_string(info.uid) + ",\"ver\":" + quoted(info.version) +
         ",\"app_path\":" + quoted(info.appPath) + ",\"test_env\":" + (info.testEnv ? "true" : "false") + "}";
}

void checkWritten(const HostInfoText& info) {
  const auto again = read(written(info));
  require(again && same(*again, info), "what is written with any bytes is read as it was");
}

}  // namespace

void hostInfoText(std::string_view input) {
  const std::string text(input);
  checkWritten({.uid = text.size(), .version = text, .appPath = text});
  const auto info = read(text);
  if (info) checkWritten(*info);
}

}  // namespace zuvia::fuzz
