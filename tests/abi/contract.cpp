// Every interface of the contract, and one object that offers them all as the plugin object does:
// the compiler lists their layout from here (check-layout). Nothing of it runs.
#include <new>

#include <zuvia/Commands.h>
#include <zuvia/Events.h>
#include <zuvia/Exports.h>
#include <zuvia/IPluginEntryPoint.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>
#include <zuvia/IZUPlugin.h>
#include <zuvia/InterfaceIds.h>

// The listing names types as they are written: what stands behind this one is fixed here.
template <class, class>
constexpr bool kSame = false;
template <class Type>
constexpr bool kSame<Type, Type> = true;
static_assert(kSame<zuvia::Listener, std::function<void(const char*, const char*)>>);
static_assert(kSame<zuvia::CreateFunction, zuvia::IPluginEntryPoint*()>);
static_assert(kSame<zuvia::CreateImplFunction, zuvia::IPluginEntryPoint*()>);

class Private;

class Plugin : public zuvia::IPluginEntryPoint, public zuvia::IPluginLoader, public zuvia::IWxMonitor {
 public:
  Plugin() : d(nullptr) {}
  ~Plugin() override {}
  void* queryInterface(const char* const& iid) override;
  void onLoaded(const char* path) override;
  void onUnload() override;
  bool isLoaded() override;
  void noOperation() override;
  const char* getVersion() override;
  bool monitorRelay1(void* first, void* second, void* third) override;
  void monitorRelay2(void* first, void* second, void* third) override;
  const char* sendCommand(const char* cmd, const char* data) override;
  uint64_t addListener(const zuvia::Listener& listener) override;
  bool removeListener(uint64_t id) override;

 private:
  Private* d;
};

zuvia::IPluginEntryPoint& makePlugin(void* memory) {
  return *new (memory) Plugin;
}
