#include "Host.h"

#include <stdexcept>

#include "common/LogRecord.h"
#include "support/Files.h"
#include "support/Wine.h"

namespace zuvia::bench {

SilentLog::SilentLog() {
  HxSetLogSink([](void*, uint16_t, const char*, const char*, uint16_t, const char*, const wchar_t*, const char*) {},
               nullptr);
}

SilentLog::~SilentLog() {
  HxSetLogSink(nullptr, nullptr);
}

DisabledLevel::DisabledLevel() {
  HxSetLogLevelEnabled(kLogLevel, false);
}

DisabledLevel::~DisabledLevel() {
  HxSetLogLevelEnabled(kLogLevel, true);
}

std::wstring benchModule() {
  return test::moduleFile(L"bench");
}

FARPROC findExportOrThrow(HMODULE module, const char* name) {
  const FARPROC found = GetProcAddress(module, name);
  if (found == nullptr) throw std::runtime_error(std::string("There is no export ") + name);
  return found;
}

InstalledPlugin::InstalledPlugin()
    : module_(LoadLibraryW(tree_.installPlugin().c_str())),
      create_(findExport<CreateFunction>(module_, kCreateExport)) {}

InstalledPlugin::~InstalledPlugin() {
  // A module with OpenSSL in it keeps itself loaded until the process ends.
  test::removeThroughLinux(tree_.base());
}

LoadedPlugin::LoadedPlugin(const InstalledPlugin& installed)
    : entry_(installed.create()),
      loader_(static_cast<IPluginLoader*>(entry_->queryInterface(IID_IPluginLoader))),
      monitor_(static_cast<IWxMonitor*>(entry_->queryInterface(IID_IWxMonitor))) {
  entry_->onLoaded("");
  if (!loader_->isLoaded()) throw std::runtime_error("The plugin loaded nothing");
}

LoadedPlugin::~LoadedPlugin() {
  entry_->onUnload();
}

}  // namespace zuvia::bench
