// The implementation module that the benchmarks talk to: it does as little as it can.

#include <zuvia/Exports.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

#include <cstring>

#include "ModuleExports.h"

namespace {

class Implementation : public zuvia::IPluginEntryPoint, public zuvia::IPluginLoader, public zuvia::IWxMonitor {
 public:
  void* queryInterface(const char* const& iid) override;

  void onLoaded(const char*) override {}
  void onUnload() override {}

  bool isLoaded() override { return true; }
  void noOperation() override {}
  const char* getVersion() override { return "2.0.0.45"; }

  bool monitorRelay1(void*, void*, void*) override { return true; }
  void monitorRelay2(void*, void*, void*) override {}
  const char* sendCommand(const char*, const char*) override { return zuvia::bench::kAnswer; }
  uint64_t addListener(const zuvia::Listener& listener) override {
    listener_ = listener;
    return 1;
  }
  bool removeListener(uint64_t) override {
    listener_ = nullptr;
    return true;
  }

  void raise(const char* name, const char* data) const { listener_(name, data); }

 private:
  zuvia::Listener listener_;
};

void* Implementation::queryInterface(const char* const& iid) {
  if (std::strcmp(iid, zuvia::IID_IPluginEntryPoint) == 0) return static_cast<zuvia::IPluginEntryPoint*>(this);
  if (std::strcmp(iid, zuvia::IID_IPluginLoader) == 0) return static_cast<zuvia::IPluginLoader*>(this);
  if (std::strcmp(iid, zuvia::IID_IWxMonitor) == 0) return static_cast<zuvia::IWxMonitor*>(this);
  return nullptr;
}

Implementation implementation;

}  // namespace

extern "C" __declspec(dllexport) zuvia::IPluginEntryPoint* createImpl() {
  return &implementation;
}

extern "C" __declspec(dllexport) void benchRaise(const char* name, const char* data) {
  implementation.raise(name, data);
}
