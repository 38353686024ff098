#include "config/ZuUpdateConfig.h"

#include <exception>

#include "common/LogRecord.h"
#include "config/UpdateEntryText.h"
#include "updater/ZuDllUpdater.h"

#define UPDATE_CONFIG_LOG() ZU_LOG("ZuUpdateConfig", "config\\ZuUpdateConfig", "ZuUpdateConfig::onFetch")

namespace zuvia {

ZuUpdateConfig::ZuUpdateConfig(uint64_t uid) : BssConfig(uid, "zu_kx_anchor", "zu_plugin_update") {}

ZuUpdateConfig::~ZuUpdateConfig() {
  stop();
}

void ZuUpdateConfig::onFetch(bool success, const std::string& value, bool fromCache) {
  if (!success || value.empty()) {
    UPDATE_CONFIG_LOG() << "Config fetch failed or empty body: " << value;
    return;
  }
  if (handed_ && fromCache) {
    UPDATE_CONFIG_LOG() << "Skip cache update ";
    return;
  }
  try {
    std::string errors;
    if (!parseUpdateEntry(value, record_, errors)) {
      UPDATE_CONFIG_LOG() << "onFetch parse error: " << errors;
      return;
    }
    UPDATE_CONFIG_LOG() << "Fetch ZuUpdateConfig success str: " << describe(record_);
    if (updater_ != nullptr) {
      handed_ = true;
      updater_->onFetch(record_);
    }
  } catch (const std::exception& exception) {
    UPDATE_CONFIG_LOG() << "onFetch parse exception: " << exception.what();
  }
}

}  // namespace zuvia
