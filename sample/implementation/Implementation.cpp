#include "Implementation.h"

#include <zuvia/Exports.h>

#include <string_view>

namespace sample {

void* Implementation::queryInterface(const char* const& iid) {
  const std::string_view wanted = iid;
  if (wanted == zuvia::IID_IPluginEntryPoint) return static_cast<zuvia::IPluginEntryPoint*>(this);
  if (wanted == zuvia::IID_IPluginLoader) return static_cast<zuvia::IPluginLoader*>(this);
  if (wanted == zuvia::IID_IWxMonitor) return static_cast<zuvia::IWxMonitor*>(this);
  if (wanted == zuvia::IID_IZUPlugin) return static_cast<zuvia::IZUPlugin*>(this);
  return nullptr;
}

void Implementation::onLoaded(const char*) {
  loaded_ = true;
}

void Implementation::onUnload() {
  loaded_ = false;
  emissions_.finish();
}

bool Implementation::isLoaded() {
  return loaded_;
}

void Implementation::noOperation() {}

const char* Implementation::getVersion() {
  return ZUIMPL_VERSION;
}

bool Implementation::monitorRelay1(void* first, void*, void*) {
  return first != nullptr;
}

void Implementation::monitorRelay2(void*, void*, void*) {}

const char* Implementation::sendCommand(const char* cmd, const char* data) {
  const std::string_view command = cmd;
  const std::string argument = data != nullptr ? data : "";
  if (command == "echo") {
    result_ = argument;
  } else if (command == "emit") {
    result_ = emit(argument);
  } else {
    result_.clear();
  }
  return result_.c_str();
}

uint64_t Implementation::addListener(const zuvia::Listener& listener) {
  return listeners_.add(listener);
}

bool Implementation::removeListener(uint64_t id) {
  return listeners_.remove(id);
}

std::string Implementation::emit(const std::string& event) {
  const size_t blank = event.find(' ');
  const std::string name = event.substr(0, blank);
  const std::string data = blank == std::string::npos ? "" : event.substr(blank + 1);
  if (name.empty() || !loaded_) return "";
  emissions_.start([this, name, data] { listeners_.raise(name.c_str(), data.c_str()); });
  return "ok";
}

}  // namespace sample

// The object lives as long as the module; the plugin frees the module after onUnload.
extern "C" __declspec(dllexport) zuvia::IPluginEntryPoint* createImpl() {
  static sample::Implementation implementation;
  return &implementation;
}

static_assert(std::is_same_v<decltype(createImpl), zuvia::CreateImplFunction>);
