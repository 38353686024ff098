#pragma once

#include <zuvia/IPluginEntryPoint.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

#include <atomic>
#include <string>

#include "Emissions.h"
#include "ListenerTable.h"

namespace sample {

// The object behind the plugin. It answers two commands and "" to every other one:
//
//   echo TEXT        its data
//   emit NAME DATA   "ok"; raises the event NAME with DATA on a thread of its own. "" and no event
//                    when the name is missing or the object is not loaded
class Implementation final : public zuvia::IPluginEntryPoint, public zuvia::IPluginLoader, public zuvia::IWxMonitor {
 public:
  void* queryInterface(const char* const& iid) override;

  void onLoaded(const char* path) override;

  // Waits until every event that was begun has been delivered.
  void onUnload() override;

  // Whether onLoaded was called, and onUnload not yet.
  bool isLoaded() override;
  void noOperation() override;

  // The version this module was built as.
  const char* getVersion() override;

  // Returns whether the first word is not 0.
  bool monitorRelay1(void* first, void* second, void* third) override;
  void monitorRelay2(void* first, void* second, void* third) override;
  const char* sendCommand(const char* cmd, const char* data) override;
  uint64_t addListener(const zuvia::Listener& listener) override;
  bool removeListener(uint64_t id) override;

 private:
  std::string emit(const std::string& event);

  std::atomic<bool> loaded_ = false;
  std::string result_;
  ListenerTable listeners_;
  Emissions emissions_;
};

}  // namespace sample
