#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "shared/Share.h"
#include "zuserve/Fault.h"
#include "zuserve/HostVersionRule.h"
#include "zuserve/Offer.h"

namespace Json {
class Value;
}

namespace zuvia::zuserve {

// To whom the newest entry is offered, and what goes wrong on purpose.
struct Settings {
  tools::Share share;
  HostVersionRule hostVersion;
  bool isPaused = false;
  Fault fault;
};

// {"fault": "none", "hostVersion": ">=7.1", "paused": false, "share": 12.5}
Json::Value settingsValue(const Settings& settings);

// The settings with the members changed that are in the JSON text, an object of one or more of the four above.
// Throws tools::Failure, which says what is wrong; nothing is changed then.
Settings changedSettings(Settings settings, const std::string& json);

// Settings that may be changed while they are in use. Any thread.
class SharedSettings {
 public:
  explicit SharedSettings(Settings settings) : settings_(std::move(settings)) {}

  Settings get() const;
  // As changedSettings(); returns the settings as they are now.
  Settings change(const std::string& json);

 private:
  mutable std::mutex mutex_;
  Settings settings_;
};

// What a host is offered, and why it is that.
struct Decision {
  std::optional<UpdateEntry> entry;
  std::string reason;
};

// uid and hostVersion: as the host sent them. Who is in the share is drawn anew for each version, by the text
// "<uid> <version>": that is what zupack has nginx divide, so that a rollout there reaches the same users.
Decision decide(const Settings& settings, const Offer& offer, const std::string& uid, const std::string& hostVersion);

}  // namespace zuvia::zuserve
