#pragma once

#include <cstddef>
#include <memory>

#include <zuvia/IPluginEntryPoint.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

namespace zuvia {

class ZuLoaderPrivate;

// The plugin object. Everything it does is in its private implementation; what each operation
// promises is said in include/zuvia.
class ZuLoader : public IPluginEntryPoint, public IPluginLoader, public IWxMonitor {
 public:
  ZuLoader();
  ZuLoader(const ZuLoader&) = delete;
  ZuLoader& operator=(const ZuLoader&) = delete;
  ~ZuLoader() override;

  // Zero-filled memory from the allocator that a deletion through any interface returns it to.
  static void* operator new(size_t size);
  static void operator delete(void* memory);

  void* queryInterface(const char* const& iid) override;

  void onLoaded(const char* path) override;
  void onUnload() override;

  bool isLoaded() override;
  void noOperation() override;
  const char* getVersion() override;

  bool monitorRelay1(void* first, void* second, void* third) override;
  void monitorRelay2(void* first, void* second, void* third) override;
  const char* sendCommand(const char* cmd, const char* data) override;
  uint64_t addListener(const Listener& listener) override;
  bool removeListener(uint64_t id) override;

 private:
  std::unique_ptr<ZuLoaderPrivate> d;
};

}  // namespace zuvia
