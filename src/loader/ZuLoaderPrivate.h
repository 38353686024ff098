#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <zuvia/IPluginEntryPoint.h>
#include <zuvia/IWxMonitor.h>

#include "dllloader/ZuDllLoader.h"
#include "loader/ListenerTable.h"
#include "updater/ZuDllUpdater.h"

namespace zuvia {

class ZuLoader;
struct HostInfoText;

// The state and the behaviour of the plugin object; what each operation promises is said in
// include/zuvia. Listeners are served on any thread; everything else is called by the host from
// one thread.
class ZuLoaderPrivate {
 public:
  explicit ZuLoaderPrivate(ZuLoader* owner) : owner_(owner) {}
  ZuLoaderPrivate(const ZuLoaderPrivate&) = delete;
  ZuLoaderPrivate& operator=(const ZuLoaderPrivate&) = delete;
  // Unloads. The members go in reverse order of their declaration.
  ~ZuLoaderPrivate() { onUnload(); }

  void onLoaded(const char* path);
  void onUnload();

  bool isLoaded() const { return dllLoader_.isLoaded(); }
  const char* getVersion();

  bool monitorRelay1(void* first, void* second, void* third);
  void monitorRelay2(void* first, void* second, void* third);
  const char* sendCommand(const char* cmd, const char* data);
  uint64_t addListener(const Listener& listener) { return listeners_.add(listener); }
  bool removeListener(uint64_t id) { return listeners_.remove(id); }

  // Raises one event to every listener and logs each call. Null texts are passed on.
  void onNotifyEvent(const char* name, const char* data);

  // Tells the listeners that a new version was published. On the update task's thread.
  void onUpdateSuccess(const std::string& newVersion);

 private:
  void connectMonitor();
  void setHostInfo(const char* json);
  void acceptHostInfo(const char* json);
  void startUpdater(const HostInfoText& info);
  void setResult(const char* text);

  [[maybe_unused]] ZuLoader* owner_;           // not used for any call
  std::string resultText_ = "0";               // what getVersion and sendCommand returned last
  const std::string* resultSource_ = nullptr;  // the loader's text that resultText_ is a copy of, if any
  IPluginEntryPoint* implEntry_ = nullptr;
  IWxMonitor* implMonitor_ = nullptr;
  uint64_t implListenerId_ = 0;
  ZuDllLoader dllLoader_;
  std::unique_ptr<ZuDllUpdater> dllUpdater_;
  ListenerTable listeners_;
};

}  // namespace zuvia
