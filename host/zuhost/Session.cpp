#include "Session.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <future>
#include <memory>
#include <thread>

#include <zuvia/Commands.h>

#include "Expectation.h"
#include "Installation.h"
#include "Pattern.h"
#include "Recorder.h"
#include "StatusRecord.h"
#include "Terminal.h"
#include "Text.h"
#include "loader/HostInfoText.h"

namespace zuhost {
namespace {

Record done(const char* command) {
  return answer("done", command);
}

void* machineWord(const std::string& argument) {
  return reinterpret_cast<void*>(static_cast<uintptr_t>(numberIn(argument, UINT64_MAX)));
}

// The application path that host information names; empty when it names none.
std::filesystem::path appPathIn(const std::string& hostInformation) {
  try {
    zuvia::HostInfoText info;
    std::string errors;
    if (zuvia::parseHostInfo(hostInformation.c_str(), info, errors)) return wideOf(info.appPath);
  } catch (const std::exception&) {
    // The plugin says in its log what is wrong with it.
  }
  return {};
}

std::string eventText(const char* name, const char* data) {
  const bool hasData = data != nullptr && *data != '\0';
  return validUtf8(hasData ? std::string(name) + ' ' + data : std::string(name));
}

[[noreturn]] void failExpectation(const char* of, const std::string& pattern, const std::string& instead) {
  throw BadCommand(std::string("expected ") + of + " \"" + pattern + "\"; " + instead);
}

std::string within(std::chrono::milliseconds time) {
  return time.count() == 0 ? std::string() : " within " + std::to_string(time.count()) + " ms";
}

}  // namespace

Session::Session(zuvia::IPluginEntryPoint& plugin, const Surroundings& surroundings)
    : plugin_(&plugin), surroundings_(surroundings) {}

Record Session::execute(const Command& command) {
  enum class Effect {
    Acts,   // on the plugin: what was logged before is not of this command
    Asks,   // or waits
    Looks,  // at what other commands did; the last result stays
  };
  struct Entry {
    std::string_view name;
    Record (Session::*run)(const Arguments&);
    Effect effect;
  };
  static constexpr Entry kEntries[] = {
      {"load", &Session::load, Effect::Acts},         {"unload", &Session::unload, Effect::Acts},
      {"send", &Session::send, Effect::Acts},         {"listen", &Session::listen, Effect::Asks},
      {"unlisten", &Session::unlisten, Effect::Asks}, {"query", &Session::query, Effect::Asks},
      {"loaded", &Session::loaded, Effect::Asks},     {"version", &Session::version, Effect::Asks},
      {"relay1", &Session::relay1, Effect::Acts},     {"relay2", &Session::relay2, Effect::Acts},
      {"wait", &Session::wait, Effect::Asks},         {"expect", &Session::expect, Effect::Looks},
      {"status", &Session::status, Effect::Looks},    {"sleep", &Session::sleep, Effect::Asks},
      {"destroy", &Session::destroy, Effect::Acts},   {"help", &Session::showHelp, Effect::Looks},
      {"quit", &Session::quit, Effect::Asks},
  };
  const auto entry = std::ranges::find(kEntries, command.name, &Entry::name);
  if (entry == std::end(kEntries)) throw BadCommand("unknown command: " + command.name);
  if (entry->effect == Effect::Acts) surroundings_.messages.clear();
  if (entry->effect != Effect::Looks) result_.reset();
  Record record = (this->*entry->run)(command.arguments);
  if (entry->effect != Effect::Looks && hasResult(record)) result_ = resultText(record);
  return record;
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
  if (data != nullptr && arguments[0] == zuvia::kSetHostInfoCommand) appPath_ = appPathIn(arguments[1]);
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
  const auto timeout = millisecondsIn(arguments[1]);
  Record record = answer("waited", validUtf8(arguments[0]));
  record.fields["ok"] = events_.wait(arguments[0], timeout);
  return record;
}

Record Session::expect(const Arguments& arguments) {
  const Expectation expected = parseExpectation(arguments[0]);
  const std::string& pattern = expected.pattern;
  if (expected.of == Expectation::Of::Result) return answer("matched", expectResult(pattern));
  if (expected.of == Expectation::Of::Event) {
    if (!events_.hasListener()) throw BadCommand("an event cannot be expected without a listener; say listen first");
    if (const auto event = raised_.take(pattern, expected.within)) return answer("matched", *event);
    failExpectation("EVENT", pattern, "events" + within(expected.within) + ": " + raised_.summary());
  }
  if (const auto message = surroundings_.messages.find(pattern, expected.within)) return answer("matched", *message);
  failExpectation("LOG", pattern, "messages" + within(expected.within) + ": " + surroundings_.messages.summary());
}

std::string Session::expectResult(const std::string& pattern) const {
  if (!result_) failExpectation("RESULT", pattern, "the last command has none");
  if (!matches(pattern, *result_)) failExpectation("RESULT", pattern, "it was \"" + *result_ + '"');
  return *result_;
}

Record Session::status(const Arguments& arguments) {
  const std::filesystem::path appPath = arguments.empty() ? appPath_ : std::filesystem::path(wideOf(arguments[0]));
  return statusRecord(lookAt(surroundings_.pluginFile, appPath.empty() ? defaultAppPath() : appPath));
}

Record Session::sleep(const Arguments& arguments) {
  std::this_thread::sleep_for(millisecondsIn(arguments[0]));
  return done("sleep");
}

Record Session::destroy(const Arguments&) {
  auto& root = interfaceOf<zuvia::IZUPlugin>(zuvia::IID_IZUPlugin);
  plugin_ = nullptr;  // also when its destructor throws, there is no object left
  delete &root;
  return done("destroy");
}

Record Session::showHelp(const Arguments& arguments) {
  return arguments.empty() ? help() : helpAbout(arguments[0]);
}

Record Session::quit(const Arguments&) {
  return done("quit");
}

void Session::tell(const char* name, const char* data, uint64_t listener) {
  const auto now = std::chrono::steady_clock::now();
  surroundings_.output.print(
      eventRecord({.name = name,
                   .data = data,
                   .listener = listener,
                   .thread = GetCurrentThreadId(),
                   .milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now - begin_).count()}));
  if (name == nullptr || !events_.arrived(name, listener)) return;
  const std::string text = eventText(name, data);
  if (surroundings_.recorder != nullptr) surroundings_.recorder->happened("event " + text);
  raised_.add(text);
}

}  // namespace zuhost
