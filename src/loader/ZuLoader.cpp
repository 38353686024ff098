#include "loader/ZuLoader.h"

#include <cstring>
#include <string_view>

#include "loader/ZuLoaderPrivate.h"

namespace zuvia {

ZuLoader::ZuLoader() : d(std::make_unique<ZuLoaderPrivate>(this)) {}

ZuLoader::~ZuLoader() = default;

void* ZuLoader::operator new(size_t size) {
  return std::memset(::operator new(size), 0, size);
}

void ZuLoader::operator delete(void* memory) {
  ::operator delete(memory);
}

void* ZuLoader::queryInterface(const char* const& iid) {
  const std::string_view id = iid;
  if (id == IID_IPluginEntryPoint) {
    return static_cast<IPluginEntryPoint*>(this);
  }
  if (id == IID_IPluginLoader) {
    return static_cast<IPluginLoader*>(this);
  }
  if (id == IID_IWxMonitor) {
    return static_cast<IWxMonitor*>(this);
  }
  if (id == IID_IZUPlugin) {
    return static_cast<IZUPlugin*>(this);
  }
  return nullptr;
}

void ZuLoader::onLoaded(const char* path) {
  d->onLoaded(path);
}

void ZuLoader::onUnload() {
  d->onUnload();
}

bool ZuLoader::isLoaded() {
  return d->isLoaded();
}

void ZuLoader::noOperation() {}

const char* ZuLoader::getVersion() {
  return d->getVersion();
}

bool ZuLoader::monitorRelay1(void* first, void* second, void* third) {
  return d->monitorRelay1(first, second, third);
}

void ZuLoader::monitorRelay2(void* first, void* second, void* third) {
  d->monitorRelay2(first, second, third);
}

const char* ZuLoader::sendCommand(const char* cmd, const char* data) {
  return d->sendCommand(cmd, data);
}

uint64_t ZuLoader::addListener(const Listener& listener) {
  return d->addListener(listener);
}

bool ZuLoader::removeListener(uint64_t id) {
  return d->removeListener(id);
}

}  // namespace zuvia
