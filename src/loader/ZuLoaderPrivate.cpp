#include "loader/ZuLoaderPrivate.h"

#include <functional>
#include <string_view>

#include <zuvia/Commands.h>
#include <zuvia/Events.h>

#include "common/PluginVersion.h"
#include "loader/ZuLoaderPrivateLog.h"

namespace zuvia {

void ZuLoaderPrivate::onLoaded(const char* path) {
  {
    LogRecord record = BRIDGE_LOG("onLoaded");
    record << "onLoaded native v: " << kPluginVersion << ", isLoad: " << (implEntry_ != nullptr) << ", path: ";
    if (path != nullptr) {
      record << path;
    }
  }
  if (implEntry_ != nullptr) {
    return;
  }
  onNotifyEvent(kPluginLoadedEvent, "");
  if (!dllLoader_.loadZuDll(implEntry_) || implEntry_ == nullptr) {
    return;
  }
  onNotifyEvent(kPluginLoadedDoneEvent, dllLoader_.versionString().c_str());
  implEntry_->onLoaded(path);
  connectMonitor();
}

// The implementation's events reach the host's listeners through one listener of this object's.
void ZuLoaderPrivate::connectMonitor() {
  IZUPlugin* const root = implEntry_;
  auto* const monitor = static_cast<IWxMonitor*>(root->queryInterface(IID_IWxMonitor));
  if (monitor == nullptr) {
    return;
  }
  implMonitor_ = monitor;
  implListenerId_ = implMonitor_->addListener(
      std::bind(&ZuLoaderPrivate::onNotifyEvent, this, std::placeholders::_1, std::placeholders::_2));
}

void ZuLoaderPrivate::onUnload() {
  BRIDGE_LOG("onUnload") << "onUnload";
  // Out of the field before it ends: its task may raise an event while it is waited for.
  std::unique_ptr<ZuDllUpdater> updater = std::move(dllUpdater_);
  updater.reset();
  if (implMonitor_ != nullptr && implListenerId_ != 0) {
    implMonitor_->removeListener(implListenerId_);
    implListenerId_ = 0;
  }
  if (implEntry_ != nullptr) {
    implEntry_->onUnload();
  }
  implMonitor_ = nullptr;
  implEntry_ = nullptr;
  dllLoader_.unload();
}

const char* ZuLoaderPrivate::getVersion() {
  // Hosts ask for it again and again. Neither text that the loader may return ever changes.
  const std::string& version = dllLoader_.versionString();
  if (resultSource_ != &version) {
    resultText_ = version;
    resultSource_ = &version;
  }
  return resultText_.c_str();
}

bool ZuLoaderPrivate::monitorRelay1(void* first, void* second, void* third) {
  return implMonitor_ != nullptr && implMonitor_->monitorRelay1(first, second, third);
}

void ZuLoaderPrivate::monitorRelay2(void* first, void* second, void* third) {
  if (implMonitor_ != nullptr) {
    implMonitor_->monitorRelay2(first, second, third);
  }
}

const char* ZuLoaderPrivate::sendCommand(const char* cmd, const char* data) {
  const std::string_view command = cmd == nullptr ? std::string_view() : cmd;
  if (command.empty()) {
    setResult("0");
  } else if (command == kIsLoadedCommand) {
    setResult(dllLoader_.isLoaded() ? "1" : "2");
  } else if (command == kGetVersionCommand) {
    getVersion();
  } else if (command == kSetHostInfoCommand) {
    setResult("0");
    setHostInfo(data);
  } else {
    setResult(implMonitor_ == nullptr ? "" : implMonitor_->sendCommand(cmd, data));
  }
  return resultText_.c_str();
}

void ZuLoaderPrivate::setResult(const char* text) {
  resultText_ = text;
  resultSource_ = nullptr;
}

void ZuLoaderPrivate::onNotifyEvent(const char* name, const char* data) {
  listeners_.notify(name, data, [name, data] {
    LogRecord record = BRIDGE_LOG("onNotifyEvent");
    record << "onNotifyEvent cmd: ";
    if (name != nullptr) {
      record << name;
    }
    record << ", data: ";
    if (data != nullptr) {
      record << data;
    }
  });
}

void ZuLoaderPrivate::onUpdateSuccess(const std::string& newVersion) {
  BRIDGE_LOG("onUpdateSuccess") << "onUpdateSuccess newVer: " << newVersion;
  onNotifyEvent(kPluginUpgradeEvent, newVersion.c_str());
}

}  // namespace zuvia
