#include <exception>
#include <functional>

#include <zuvia/Commands.h>

#include "common/HostInfo.h"
#include "common/Text.h"
#include "loader/HostInfoText.h"
#include "loader/ZuLoaderPrivate.h"
#include "loader/ZuLoaderPrivateLog.h"

namespace zuvia {

void ZuLoaderPrivate::setHostInfo(const char* json) {
  if (json == nullptr || *json == '\0' || !dllLoader_.isLoaded()) {
    BRIDGE_LOG("setHostInfo") << "setHostInfo with invalid params loaded: " << dllLoader_.isLoaded();
    return;
  }
  try {
    acceptHostInfo(json);
  } catch (const std::exception& exception) {
    BRIDGE_LOG("setHostInfo") << "setHostInfo parse exception: " << exception.what();
  }
  if (implMonitor_ != nullptr) {
    implMonitor_->sendCommand(kSetHostInfoCommand, json);
  }
}

void ZuLoaderPrivate::acceptHostInfo(const char* json) {
  HostInfoText info;
  std::string errors;
  if (!parseHostInfo(json, info, errors)) {
    BRIDGE_LOG("setHostInfo") << "setHostInfo parse error: " << errors;
    return;
  }
  BRIDGE_LOG("setHostInfo") << "setHostInfo uid: " << info.uid << ", ver: " << info.version
                            << ", env: " << info.testEnv;
  HostInfo& host = hostInfo();
  host.hostVersion = info.version;
  host.appPath = info.appPath;
  host.appPathW = Utf8ToWide(info.appPath);
  host.testEnv = info.testEnv;
  BRIDGE_LOG("setHostInfo") << L"setHostInfo path: " << host.appPathW;
  if (!dllUpdater_) {
    startUpdater(info);
  }
}

void ZuLoaderPrivate::startUpdater(const HostInfoText& info) {
  dllUpdater_ = std::make_unique<ZuDllUpdater>(info.uid);
  dllUpdater_->setCurrentVersion(dllLoader_.shortVersionString());
  dllUpdater_->setCurrentImplementation(dllLoader_.current());
  dllUpdater_->setHostVersion(info.version);
  dllUpdater_->setAppPath(hostInfo().appPathW);
  dllLoader_.deleteUnused("");
  dllUpdater_->start(std::bind(&ZuLoaderPrivate::onUpdateSuccess, this, std::placeholders::_1));
}

}  // namespace zuvia
