#include "Session.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <future>
#include <limits>
#include <memory>
#include <thread>

#include "Terminal.h"
#include "Text.h"

namespace zuhost {
namespace {

constexpr uint64_t kMostMilliseconds = std::numeric_limits<int32_t>::max();

Record done(const char* command) {
  return answer("done", command);
}

std::chrono::milliseconds milliseconds(const std::string& argument) {
  return std::chrono::milliseconds(numberIn(argument, kMostMilliseconds));
}

void* machineWord(const std::string& argument) {
  return reinterpret_cast<void*>(static_cast<uintptr_t>(numberIn(argument, UINT64_MAX)));
}

}  // namespace

Session::Session(zuvia::IPluginEntryPoint& plugin, Output& output) : plugin_(&plugin), output_(output) {}

Record Session::execute(const Command& command) {
  struct Entry {
    std::string_view name;
    Record (Session::*run)(const Arguments&);
  };
  static constexpr Entry kEntries[] = {
      {"load", &Session::load},       {"unload", &Session::unload},     {"send", &Session::send},
      {"listen", &Session::listen},   {"unlisten", &Session::unlisten}, {"query", &Session::query},
      {"loaded", &Session::loaded},   {"version", &Session::version},   {"relay1", &Session::relay1},
      {"relay2", &Session::relay2},   {"wait", &Session::wait},         {"sleep", &Session::sleep},
      {"destroy", &Session::destroy}, {"help", &Session::showHelp},     {"quit", &Session::quit},
  };
  const auto entry = std::ranges::find(kEntries, command.name, &Entry::name);
  if (entry == std::end(kEntries)) throw BadCommand("unknown command: " + command.name);
  return (this->*entry->run)(command.arguments);
}

zuvia::IPluginEntryPoint& Session::plugin() const {
  if (plugin_ == nullptr) throw BadCommand("the plugin object was destroyed");
  return *plugin_;
}

template <typename Interface>
Interface& Session::interfaceOf(const char* iid) const {
  void* const found = plugin().queryInterface(iid);
  if (found == nullptr) throw BadCommand(std::string("the plugin object has no ") + iid);
  return *static_cast<Interface*>(found);
}

zuvia::IPluginLoader& Session::loader() const {
  return interfaceOf<zuvia::IPluginLoader>(zuvia::IID_IPluginLoader);
}

zuvia::IWxMonitor& Session::monitor() const {
  return interfaceOf<zuvia::IWxMonitor>(zuvia::IID_IWxMonitor);
}

Record Session::load(const Arguments& arguments) {
  plugin().onLoaded(arguments.empty() ? nullptr : arguments[0].c_str());
  return done("load");
}

Record Session::unload(const Arguments&) {
  plugin().onUnload();
  return done("unload");
}

Record Session::send(const Arguments& arguments) {
  const char* const data = arguments.size() < 2 ? nullptr : arguments[1].c_str();
  const char* const result = monitor().sendCommand(arguments[0].c_str(), data);
  return answer("result", result == nullptr ? Json::Value() : Json::Value(validUtf8(result)));
}

Record Session::listen(const Arguments&) {
  // An event can arrive, on another thread, before addListener has told the id.
  const auto promisedId = std::make_shared<std::promise<uint64_t>>();
  const std::shared_future<uint64_t> futureId = promisedId->get_future();
  const uint64_t id =
      monitor().addListener([this, futureId](const char* name, const char* data) { tell(name, data, futureId.get()); });
  events_.addListener(id);
  promisedId->set_value(id);
  return answer("listener", id);
}

Record Session::unlisten(const Arguments& arguments) {
  const uint64_t id = numberIn(arguments[0], UINT64_MAX);
  const bool removed = monitor().removeListener(id);
  events_.removeListener(id);
  return answer("removed", removed);
}

Record Session::query(const Arguments& arguments) {
  const char* const iid = arguments[0].c_str();
  return answer("interface", plugin().queryInterface(iid) != nullptr);
}

Record Session::loaded(const Arguments&) {
  return answer("loaded", loader().isLoaded());
}

Record Session::version(const Arguments&) {
  const char* const text = loader().getVersion();
  return answer("version", text == nullptr ? Json::Value() : Json::Value(validUtf8(text)));
}

Record Session::relay1(const Arguments& arguments) {
  return answer("relay", monitor().monitorRelay1(machineWord(arguments[0]), machineWord(arguments[1]),
                                                 machineWord(arguments[2])));
}

Record Session::relay2(const Arguments& arguments) {
  monitor().monitorRelay2(machineWord(arguments[0]), machineWord(arguments[1]), machineWord(arguments[2]));
  return done("relay2");
}

Record Session::wait(const Arguments& arguments) {
  const auto timeout = milliseconds(arguments[1]);
  Record record = answer("waited", validUtf8(arguments[0]));
  record.fields["ok"] = events_.wait(arguments[0], timeout);
  return record;
}

Record Session::sleep(const Arguments& arguments) {
  std::this_thread::sleep_for(milliseconds(arguments[0]));
  return done("sleep");
}

Record Session::destroy(const Arguments&) {
  auto& root = interfaceOf<zuvia::IZUPlugin>(zuvia::IID_IZUPlugin);
  plugin_ = nullptr;  // also when its destructor throws, there is no object left
  delete &root;
  return done("destroy");
}

Record Session::showHelp(const Arguments&) {
  return help();
}

Record Session::quit(const Arguments&) {
  return done("quit");
}

void Session::tell(const char* name, const char* data, uint64_t listener) {
  const auto now = std::chrono::steady_clock::now();
  output_.print(
      eventRecord({.name = name,
                   .data = data,
                   .listener = listener,
                   .thread = GetCurrentThreadId(),
                   .milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now - begin_).count()}));
  if (name != nullptr) events_.arrived(name, listener);
}

}  // namespace zuhost
