#include "Implementation.h"

#include <type_traits>

#include <zuvia/Exports.h>

namespace sample {

Implementation::Implementation() : ImplementationBase(ZUIMPL_VERSION) {}

bool Implementation::monitorRelay1(void* first, void*, void*) {
  return first != nullptr;
}

void Implementation::onStop() {
  emissions_.finish();
}

std::string Implementation::onCommand(const std::string& command, const std::string& data) {
  if (command == "echo") return data;
  if (command == "emit") return emit(data);
  return "";
}

std::string Implementation::emit(const std::string& event) {
  const size_t blank = event.find(' ');
  const std::string name = event.substr(0, blank);
  const std::string data = blank == std::string::npos ? "" : event.substr(blank + 1);
  if (name.empty() || !isLoaded()) return "";
  emissions_.start([this, name, data] { raiseEvent(name, data); });
  return "ok";
}

}  // namespace sample

// The object lives as long as the module; the plugin frees the module after onUnload.
extern "C" zuvia::IPluginEntryPoint* createImpl() {
  static sample::Implementation implementation;
  return &implementation;
}

static_assert(std::is_same_v<decltype(createImpl), zuvia::CreateImplFunction>);
