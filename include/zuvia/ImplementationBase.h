#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <zuvia/EventListeners.h>
#include <zuvia/IPluginEntryPoint.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>
#include <zuvia/InterfaceIds.h>

namespace zuvia {

// What every implementation object has in common: the interface query, the listeners, the loaded
// flag, the texts that it owns, and that no exception leaves its module. A class derived from it
// says what the module does, and the module hands one object of it out:
//
//   class Greeter final : public zuvia::ImplementationBase {
//    public:
//     Greeter() : ImplementationBase(ZUIMPL_VERSION) {}
//
//    private:
//     std::string onCommand(const std::string& command, const std::string& data) override {
//       if (command != "greet") return "";
//       raiseEvent("greeted", data);
//       return "Hello, " + data;
//     }
//   };
//
//   extern "C" zuvia::IPluginEntryPoint* createImpl() {
//     static Greeter greeter;
//     return &greeter;
//   }
//
// It is compiled into the module that uses it and is no part of the binary contract.
class ImplementationBase : public IPluginEntryPoint, public IPluginLoader, public IWxMonitor {
 public:
  ImplementationBase(const ImplementationBase&) = delete;
  ImplementationBase& operator=(const ImplementationBase&) = delete;
  ~ImplementationBase() override = default;

  // Knows the four interfaces; also answers null to null. Override it to offer another one, and
  // ask this one for the rest.
  void* queryInterface(const char* const& iid) override {
    const std::string_view wanted = iid != nullptr ? iid : "";
    if (wanted == IID_IPluginEntryPoint) return static_cast<IPluginEntryPoint*>(this);
    if (wanted == IID_IPluginLoader) return static_cast<IPluginLoader*>(this);
    if (wanted == IID_IWxMonitor) return static_cast<IWxMonitor*>(this);
    if (wanted == IID_IZUPlugin) return static_cast<IZUPlugin*>(this);
    return nullptr;
  }

  void onLoaded(const char* path) final {
    loaded_ = true;
    try {
      onStart(path);
    } catch (...) {
      loaded_ = false;
    }
  }

  void onUnload() final {
    loaded_ = false;
    try {
      onStop();
    } catch (...) {  // the module is freed all the same
    }
  }

  // Whether onLoaded was called and onStart did not throw, and onUnload was not called since. Any thread.
  bool isLoaded() final { return loaded_; }
  void noOperation() final {}
  const char* getVersion() final { return version_.c_str(); }

  // Override them for relays that host and implementation have agreed on.
  bool monitorRelay1(void*, void*, void*) override { return false; }
  void monitorRelay2(void*, void*, void*) override {}

  const char* sendCommand(const char* cmd, const char* data) final {
    try {
      answer_ = onCommand(cmd != nullptr ? cmd : "", data != nullptr ? data : "");
    } catch (...) {
      answer_.clear();
    }
    return answer_.c_str();
  }

  // Returns 0, and has registered nothing, when the listener cannot be kept.
  uint64_t addListener(const Listener& listener) final {
    try {
      return listeners_.add(listener);
    } catch (...) {
      return 0;
    }
  }

  bool removeListener(uint64_t id) final { return listeners_.remove(id); }

 protected:
  // version: what getVersion answers, four decimal numbers joined by ".". It should be that of the
  // module's version resource, by which the plugin chooses.
  explicit ImplementationBase(std::string version) : version_(std::move(version)) {}

  // The module was loaded. path: as the host gave it to the plugin, may be null. Host's thread. When
  // it throws, the object does not count as loaded; that is all that becomes known of it.
  virtual void onStart([[maybe_unused]] const char* path) {}

  // The module is about to be freed, also when onStart threw: end every thread that was started,
  // and give back what freeing the module does not. Host's thread. What it throws is dropped.
  virtual void onStop() {}

  // Returns the answer to a command; "" to one that it does not know. Host's thread. What it throws
  // makes the answer "".
  //
  // command, data: absent texts are "". The host information arrives as the command "setHostInfo".
  virtual std::string onCommand([[maybe_unused]] const std::string& command, [[maybe_unused]] const std::string& data) {
    return {};
  }

  // Calls every listener with an event, on this thread. The plugin's, which hands it to the host,
  // is among them from the return of onStart until onStop begins. Any thread. What a listener
  // throws passes on, and those after it do not get the event.
  void raiseEvent(const std::string& name, const std::string& data = {}) const {
    listeners_.raise(name.c_str(), data.c_str());
  }

 private:
  const std::string version_;
  std::atomic<bool> loaded_{false};
  std::string answer_;
  EventListeners listeners_;
};

}  // namespace zuvia
