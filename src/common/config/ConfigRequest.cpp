#include "common/config/ConfigRequest.h"

#include <json/value.h>
#include <json/writer.h>

namespace zuvia {

std::string requestBody(const ConfigRequest& request) {
  Json::Value extendInfo(Json::objectValue);
  extendInfo["zuuid"] = std::to_string(request.uid);
  for (const auto& [key, value] : request.extendInfo) {
    extendInfo[key] = value;
  }
  Json::Value body(Json::objectValue);
  body["bssCode"] = request.bssCode;
  body["bssVersion"] = "0";
  body["bssMode"] = "all";
  body["client"] = "pc";
  body["osVersion"] = request.osVersion;
  body["version"] = request.version;
  body["extendInfo"] = std::move(extendInfo);

  std::string text = Json::FastWriter().write(body);
  if (text.ends_with('\n')) {
    text.pop_back();
  }
  return text;
}

std::string uidHeader(uint64_t uid) {
  return "uid: " + std::to_string(uid);
}

}  // namespace zuvia
