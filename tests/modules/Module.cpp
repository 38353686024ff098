// The test modules. They record what they are called with, and answer these commands:
//
//   echo DATA             its data
//   record, forget        the record so far; empties it. Neither is recorded.
//   emit NAME DATA        raises that event on the calling thread; "raised", or "threw" when a listener did
//   emit-async NAME DATA  raises it on a thread of the module's own, which onUnload waits for
//   emit-null             raises an event with neither name nor data
//   throw                 throws a standard exception
//   other words           "answer to WORD"
//
// The record outlives the object as long as the module is loaded: the export testRecord gives its text. The export
// testRaise raises an event on the calling thread, whichever it is.

#include <zuvia/Exports.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Record.h"

// What CMakeLists.txt changes.
#if !defined(CREATE_NAME)
#define CREATE_NAME createImpl
#endif
#if !defined(CREATE)
#define CREATE Normal
#endif
#if !defined(HAS_MONITOR)
#define HAS_MONITOR true
#endif
#if !defined(FIRST_LISTENER_ID)
#define FIRST_LISTENER_ID 7
#endif

#if defined(USES_COMPANION)
extern "C" __declspec(dllimport) int companionValue();
#else
static int companionValue() {
  return 0;
}
#endif

namespace {

enum class Create { Normal, Null, Throw, ThrowInt, Slow };
constexpr Create kCreate = Create::CREATE;
constexpr bool kHasMonitor = HAS_MONITOR;

Record record;

std::string numberOf(const void* word) {
  return std::to_string(reinterpret_cast<std::uintptr_t>(word));
}

class Implementation : public zuvia::IPluginEntryPoint, public zuvia::IPluginLoader, public zuvia::IWxMonitor {
 public:
  void* queryInterface(const char* const& iid) override;

  void onLoaded(const char* path) override { record.add("onLoaded " + shown(path)); }
  void onUnload() override;

  bool isLoaded() override { return true; }
  void noOperation() override { record.add("noOperation"); }
  const char* getVersion() override { return "test"; }

  bool monitorRelay1(void* first, void* second, void* third) override;
  void monitorRelay2(void* first, void* second, void* third) override;
  const char* sendCommand(const char* cmd, const char* data) override;
  uint64_t addListener(const zuvia::Listener& listener) override;
  bool removeListener(uint64_t id) override;

  // "raised", or "threw" when a listener did. Any thread.
  std::string raise(const char* name, const char* data);

 private:
  std::string obey(const std::string& command, const std::string& data);
  std::string raiseText(const std::string& text);

  std::mutex mutex_;  // guards the listeners
  std::map<uint64_t, zuvia::Listener> listeners_;
  uint64_t nextId_ = FIRST_LISTENER_ID;
  std::vector<std::thread> emissions_;
  std::string answer_;
};

void* Implementation::queryInterface(const char* const& iid) {
  record.add("queryInterface " + std::string(iid));
  if (std::strcmp(iid, zuvia::IID_IPluginEntryPoint) == 0) return static_cast<zuvia::IPluginEntryPoint*>(this);
  if (std::strcmp(iid, zuvia::IID_IPluginLoader) == 0) return static_cast<zuvia::IPluginLoader*>(this);
  if (kHasMonitor && std::strcmp(iid, zuvia::IID_IWxMonitor) == 0) return static_cast<zuvia::IWxMonitor*>(this);
  if (std::strcmp(iid, zuvia::IID_IZUPlugin) == 0) return static_cast<zuvia::IZUPlugin*>(this);
  return nullptr;
}

void Implementation::onUnload() {
  record.add("onUnload");
  for (std::thread& emission : emissions_) emission.join();
  emissions_.clear();
}

bool Implementation::monitorRelay1(void* first, void* second, void* third) {
  record.add("monitorRelay1 " + numberOf(first) + ' ' + numberOf(second) + ' ' + numberOf(third));
  return true;
}

void Implementation::monitorRelay2(void* first, void* second, void* third) {
  record.add("monitorRelay2 " + numberOf(first) + ' ' + numberOf(second) + ' ' + numberOf(third));
}

const char* Implementation::sendCommand(const char* cmd, const char* data) {
  const std::string command = cmd == nullptr ? "" : cmd;
  if (command != "record" && command != "forget") {
    record.add("sendCommand " + shown(cmd) + ' ' + shown(data));
  }
  answer_ = obey(command, data == nullptr ? "" : data);
  return answer_.c_str();
}

std::string Implementation::obey(const std::string& command, const std::string& data) {
  if (command == "echo") return data;
  if (command == "record") return record.text();
  if (command == "forget") return record.clear(), "";
  if (command == "emit") return raiseText(data);
  if (command == "emit-async") return emissions_.emplace_back([this, data] { raiseText(data); }), "started";
  if (command == "emit-null") return raise(nullptr, nullptr);
  if (command == "throw") throw std::runtime_error("as it was told");
  return "answer to " + command;
}

std::string Implementation::raiseText(const std::string& text) {
  const std::size_t blank = text.find(' ');
  const std::string name = text.substr(0, blank);
  return raise(name.c_str(), blank == std::string::npos ? "" : text.c_str() + blank + 1);
}

std::string Implementation::raise(const char* name, const char* data) {
  std::map<uint64_t, zuvia::Listener> listeners;
  {
    const std::lock_guard lock(mutex_);
    listeners = listeners_;
  }
  try {
    for (const auto& [id, listener] : listeners) listener(name, data);
  } catch (const std::exception& error) {
    record.add("listener threw " + std::string(error.what()));
    return "threw";
  }
  return "raised";
}

uint64_t Implementation::addListener(const zuvia::Listener& listener) {
  const std::lock_guard lock(mutex_);
  const uint64_t id = nextId_++;
  listeners_[id] = listener;
  record.add("addListener " + std::to_string(id));
  return id;
}

bool Implementation::removeListener(uint64_t id) {
  const std::lock_guard lock(mutex_);
  record.add("removeListener " + std::to_string(id));
  return listeners_.erase(id) > 0;
}

Implementation& theOne() {
  static Implementation implementation;
  return implementation;
}

zuvia::IPluginEntryPoint* create() {
  Implementation& implementation = theOne();
  if (companionValue() != 0) record.add("companion " + std::to_string(companionValue()));
  switch (kCreate) {
    case Create::Null:
      return nullptr;
    case Create::Throw:
      throw std::runtime_error("No implementation today");
    case Create::ThrowInt:
      throw 42;
    case Create::Slow:
      std::this_thread::sleep_for(std::chrono::seconds(2));
      return &implementation;
    case Create::Normal:
      break;
  }
  return &implementation;
}

}  // namespace

extern "C" {

__declspec(dllexport) zuvia::IPluginEntryPoint* CREATE_NAME() {
  return create();
}

// Valid until the next call.
__declspec(dllexport) const char* testRecord() {
  static std::string text;
  text = record.text();
  return text.c_str();
}

__declspec(dllexport) void testRaise(const char* name, const char* data) {
  theOne().raise(name, data);
}

}  // extern "C"
