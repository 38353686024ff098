#include <exception>

#include "common/config/BssConfig.h"
#include "common/config/BssConfigLog.h"
#include "common/config/ConfigAnswer.h"

namespace zuvia {

void BssConfig::OnResponse(bool ok, const std::string& body) {
  if (!ok || body.empty()) {
    CONFIG_LOG("OnResponse") << "onFetch fail key: " << configKey_ << ", body: " << body;
    return;
  }
  try {
    std::string value;
    std::string errors;
    switch (parseConfigAnswer(body, configKey_, value, errors)) {
      case ConfigAnswer::NotJson:
        CONFIG_LOG("OnResponse") << "OnResponse parse error: " << errors << ", body: " << body;
        break;
      case ConfigAnswer::NoValue:
        CONFIG_LOG("OnResponse") << "onFetch success but configs err, key: " << configKey_ << ", body: " << body;
        break;
      case ConfigAnswer::Value:
        onFetch(true, value, false);
        CONFIG_LOG("OnResponse") << "onFetch success key: " << configKey_ << ", value: " << value;
        break;
    }
  } catch (const std::exception& exception) {
    CONFIG_LOG("OnResponse") << "OnResponse parse exception: " << exception.what();
  }
}

}  // namespace zuvia
