#include "integration/order/Host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "support/Text.h"

namespace zuvia::test {
namespace {

template <typename Interface>
Interface& part(IPluginEntryPoint& entry, const char* iid) {
  return *static_cast<Interface*>(entry.queryInterface(iid));
}

}  // namespace

Host::Host(HMODULE plugin, IPluginEntryPoint& entry, LogCapture& log, const std::wstring& modulePath,
           const std::string& hostInformation)
    : entry_(entry),
      loader_(part<IPluginLoader>(entry, IID_IPluginLoader)),
      monitor_(part<IWxMonitor>(entry, IID_IWxMonitor)),
      log_(log),
      hostInformation_(hostInformation),
      implementation_(LoadLibraryW(modulePath.c_str())),
      record_(reinterpret_cast<TestRecord*>(reinterpret_cast<void*>(GetProcAddress(implementation_, "testRecord")))),
      refuse_(plugin, "connect",
              [](auto...) {
                WSASetLastError(WSAECONNREFUSED);
                return SOCKET_ERROR;
              }),
      freed_(plugin, "FreeLibrary", [this](auto* original, HMODULE module) {
        if (module == implementation_) tell("implementation freed");
        return original(module);
      }) {}

Host::~Host() {
  FreeLibrary(implementation_);
}

void Host::beginAnew() {
  log_.clear();
  toldLines_ = 0;
  fetches_ = 0;
}

Story Host::take(Step step, bool awaitsFetch) {
  return tellOf([&] {
    act(step, awaitsFetch);
    tell(state());
  });
}

Story Host::tellOf(const std::function<void()>& action) {
  action();
  tellLog();
  tellRecord();
  return std::exchange(story_, {});
}

void Host::act(Step step, bool awaitsFetch) {
  switch (step) {
    case Step::Load:
      return load();
    case Step::HostInformation:
      return tell(std::string("answer ") + monitor_.sendCommand("setHostInfo", hostInformation_.c_str()));
    case Step::Wait:
      return wait(awaitsFetch);
    case Step::Unload:
      entry_.onUnload();
      return expectWholeFetches();
    case Step::Raise:
      return tell(std::string("answer ") + monitor_.sendCommand("emit", "outer 1"));
  }
}

void Host::load() {
  try {
    entry_.onLoaded("C:\\host");
  } catch (const std::bad_function_call&) {
    tell("threw bad_function_call");
  } catch (const std::runtime_error& error) {
    tell(std::string("threw ") + error.what());
  }
}

void Host::wait(bool awaitsFetch) {
  if (!awaitsFetch) return tell("nothing to wait for");
  constexpr int kTries = 10000;
  const std::wstring last = L"onFetch fail key: zu_plugin_update, body: ";
  for (int tried = 0; tried < kTries && countFetchLines(last) == fetches_; ++tried) Sleep(1);
  tell(countFetchLines(last) == fetches_ + 1 ? "fetched once" : "not fetched once");
}

// The unload has waited for the fetch, which was in time or not, but is never cut short, and never comes twice.
void Host::expectWholeFetches() {
  const std::size_t begun = countFetchLines(L"DoFetchJob bssCode: zu_kx_anchor, ret: false, curlCode: 7, curlError: ");
  const std::size_t ended = countFetchLines(L"onFetch fail key: zu_plugin_update, body: ");
  EXPECT_EQ(begun, ended);
  EXPECT_LE(ended, fetches_ + 1);
  fetches_ = ended;
}

std::size_t Host::countFetchLines(const std::wstring& start) const {
  const std::vector<LogLine> lines = log_.lines();
  return static_cast<std::size_t>(std::ranges::count_if(lines, [&](const LogLine& line) {
    return line.threadId != GetCurrentThreadId() && line.message.starts_with(start);
  }));
}

std::string Host::state() {
  const std::string command = monitor_.sendCommand("isLoaded", nullptr);
  const std::string version = loader_.getVersion();
  return std::string(loader_.isLoaded() ? "loaded, " : "not loaded, ") + command + ", " + version;
}

// ---- Listeners

void Host::invite(Audience audience) {
  switch (audience) {
    case Audience::None:
      return;
    case Audience::Recording:
      add(hearer("first"));
      return;
    case Audience::Meddling:
      add([this](const char* name, const char* data) { meddle(name, data); });
      return;
    case Audience::AddsEmpty:
      add([this](const char* name, const char*) {
        if (std::string(name) == "pluginLoadedDoneEvent") add(Listener());
      });
      return;
    case Audience::ThrowsAtLoading:
    case Audience::ThrowsAtLoaded:
    case Audience::ThrowsAtRaised:
    case Audience::Empty:
      break;
  }
  add(hearer("first"));
  if (audience == Audience::ThrowsAtLoading) add(thrower("pluginLoadedEvent"));
  if (audience == Audience::ThrowsAtLoaded) add(thrower("pluginLoadedDoneEvent"));
  if (audience == Audience::ThrowsAtRaised) add(thrower("outer"));
  if (audience == Audience::Empty) add(Listener());
  add(hearer("third"));
}

void Host::dismissAudience() {
  for (const uint64_t id : listeners_) {
    EXPECT_TRUE(monitor_.removeListener(id));
    EXPECT_FALSE(monitor_.removeListener(id));
  }
  listeners_.clear();
  added_ = 0;
}

uint64_t Host::add(const Listener& listener) {
  const uint64_t id = monitor_.addListener(listener);
  listeners_.push_back(id);
  return id;
}

Listener Host::hearer(const std::string& who) {
  return [this, who](const char* name, const char* data) { tell(who + " hears " + name + '=' + data); };
}

Listener Host::thrower(const std::string& at) {
  return [at](const char* name, const char*) {
    if (name == at) throw std::runtime_error("enough");
  };
}

void Host::meddle(const std::string& name, const std::string& data) {
  tell("meddler hears " + name + '=' + data);
  if (name == "inner") return;
  if (added_ != 0) {
    EXPECT_TRUE(monitor_.removeListener(added_));
    std::erase(listeners_, added_);
  }
  added_ = add(hearer("added"));
  if (name == "outer") {
    EXPECT_STREQ(monitor_.sendCommand("emit", "inner 2"), "raised");
  }
}

// ---- The story

void Host::tell(const std::string& line) {
  tellLog();
  tellRecord();
  story_.push_back(line);
}

// The lines of the host's thread, and then what the implementation was called with, since the last time.
void Host::tellLog() {
  const std::vector<LogLine> lines = log_.lines();
  for (; toldLines_ < lines.size(); ++toldLines_) {
    if (lines[toldLines_].threadId != GetCurrentThreadId()) continue;
    story_.push_back("log: " + toUtf8(lines[toldLines_].message));
  }
}

void Host::tellRecord() {
  const std::string record = record_();
  while (toldRecord_ < record.size()) {
    const std::size_t end = record.find('\n', toldRecord_);
    story_.push_back("implementation: " + record.substr(toldRecord_, end - toldRecord_));
    toldRecord_ = end + 1;
  }
}

}  // namespace zuvia::test
