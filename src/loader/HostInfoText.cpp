#include "loader/HostInfoText.h"

#include <sstream>

#include <json/reader.h>
#include <json/value.h>

namespace zuvia {

bool parseHostInfo(const char* json, HostInfoText& info, std::string& errors) {
  std::istringstream stream(json);
  Json::Value parsed;
  if (!Json::parseFromStream(Json::CharReaderBuilder(), stream, &parsed, &errors)) {
    return false;
  }
  const Json::Value& document = parsed;
  const Json::Value& uid = document["uid"];
  const Json::Value& version = document["ver"];
  const Json::Value& testEnv = document["test_env"];
  const Json::Value& appPath = document["app_path"];
  info.uid = uid.isNull() ? 0 : uid.asUInt64();
  info.version = version.isNull() ? "" : version.asString();
  info.appPath = appPath.isNull() ? "" : appPath.asString();
  info.testEnv = !testEnv.isNull() && testEnv.asBool();
  return true;
}

}  // namespace zuvia
