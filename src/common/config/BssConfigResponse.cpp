#include <exception>
#include <sstream>
#include <utility>

#include <json/reader.h>
#include <json/value.h>

#include "common/config/BssConfig.h"
#include "common/config/BssConfigLog.h"

namespace zuvia {

void BssConfig::OnResponse(bool ok, const std::string& body) {
  if (!ok || body.empty()) {
    CONFIG_LOG("OnResponse") << "onFetch fail key: " << configKey_ << ", body: " << body;
    return;
  }
  try {
    std::istringstream stream(body);
    Json::Value answer;
    std::string errors;
    if (!Json::parseFromStream(Json::CharReaderBuilder(), stream, &answer, &errors)) {
      CONFIG_LOG("OnResponse") << "OnResponse parse error: " << errors << ", body: " << body;
      return;
    }
    const Json::Value& configs = std::as_const(answer)["configs"];
    if (configs.isNull() || !configs.isMember(configKey_)) {
      CONFIG_LOG("OnResponse") << "onFetch success but configs err, key: " << configKey_ << ", body: " << body;
      return;
    }
    const std::string value = configs[configKey_].asString();
    onFetch(true, value, false);
    CONFIG_LOG("OnResponse") << "onFetch success key: " << configKey_ << ", value: " << value;
  } catch (const std::exception& exception) {
    CONFIG_LOG("OnResponse") << "OnResponse parse exception: " << exception.what();
  }
}

}  // namespace zuvia
