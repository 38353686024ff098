// The program behind HostProcess: hosts a plugin and does what its standard input says, line by line. It answers each
// line with "ok" and a result, or with "error" and a text, and says at any time what it was told by the plugin:
//
//   log MESSAGE          a line for the host's logger; line breaks in it are blanks here
//   event NAME=DATA      an event
//   lock STEP NAME       what the plugin does with a named mutex, see LockWatch.h
//
//   plugin PATH | app PATH | port NUMBER    whom it hosts, and with what; before all others
//   trust PEM                       the only root certificate of the plugin, "|" for its line breaks; before a load
//   load | info | unload            what a host does
//   command NAME JSON               any command of the plugin; the answer is its result
//   cut FUNCTION NUMBER | calls     see CallCutter.h
//   stop MESSAGE                    see HostProcess.h
//   candidates ROOT                 see Candidates.h; in a host that loads nothing else
//   handles | memory                what it has open and holds: see HandleCount.h, MemoryCount.h
//   library PATH                    loads a library for good
//
// It ends, without unloading, when its input does.

// Before windows.h.
#include <winsock2.h>

#include <hxbase/LogControl.h>
#include <zuvia/Exports.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "support/CallCutter.h"
#include "support/Candidates.h"
#include "support/HandleCount.h"
#include "support/HostInformation.h"
#include "support/HostProcess.h"
#include "support/ImportHook.h"
#include "support/LockWatch.h"
#include "support/MemoryCount.h"
#include "support/NetworkRedirect.h"
#include "support/RootStore.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

// One line at a time, from any thread.
void say(const std::string& kind, std::string text) {
  static std::mutex& mutex = *new std::mutex;
  std::ranges::replace(text, '\n', ' ');
  const std::string line = kind + ' ' + text + '\n';
  const std::lock_guard lock(mutex);
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);
}

// Where a thread that logs stays until it is told to go on. Lives as long as the process.
class Stop {
 public:
  // Before the message can come.
  void setAt(std::wstring start) {
    resumed_ = CreateEventW(nullptr, TRUE, FALSE, nameOfResumeEvent(GetCurrentProcessId()).c_str());
    if (resumed_ == nullptr) throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "stop");
    const std::lock_guard lock(mutex_);
    start_ = std::move(start);
  }

  // Any thread.
  void pass(const std::wstring& message) {
    if (isHere(message)) WaitForSingleObject(resumed_, INFINITE);
  }

 private:
  // Once.
  bool isHere(const std::wstring& message) {
    const std::lock_guard lock(mutex_);
    if (start_.empty() || !message.starts_with(start_)) return false;
    start_.clear();
    return true;
  }

  std::mutex mutex_;
  std::wstring start_;  // empty: nowhere
  HANDLE resumed_ = nullptr;
};

Stop& stop = *new Stop;

void sayMessage(void*, std::uint16_t, const char*, const char*, std::uint16_t, const char*, const wchar_t* message,
                const char*) {
  const DWORD lastError = GetLastError();
  say("log", toUtf8(message));
  stop.pass(message);
  SetLastError(lastError);
}

void sayLock(const std::string& step, const std::wstring& name) {
  say("lock", step + ' ' + toUtf8(name));
}

// A plugin as an application has it: for as long as the process.
class Plugin {
 public:
  // root: of the server; "": those of the system.
  Plugin(const std::wstring& path, unsigned short port, const std::string& root) : module_(LoadLibraryW(path.c_str())) {
    if (module_ == nullptr) throw std::runtime_error("the plugin does not load");
    const FARPROC create = GetProcAddress(module_, kCreateExport);
    entry_ = reinterpret_cast<CreateFunction*>(reinterpret_cast<void*>(create))();
    // Port 0 is nobody's.
    new NetworkRedirect(module_, {{"localhost", 18443, port}, {"config.zuvia.example", 443, port}});
    if (!root.empty()) trustOnly(root);
    new LockWatch(module_, &sayLock);
    cutter_ = new CallCutter(module_);
    monitor().addListener([](const char* name, const char* data) { say("event", std::string(name) + '=' + data); });
  }

  IPluginEntryPoint& entry() { return *entry_; }
  IWxMonitor& monitor() { return *static_cast<IWxMonitor*>(entry_->queryInterface(IID_IWxMonitor)); }
  IPluginLoader& loader() { return *static_cast<IPluginLoader*>(entry_->queryInterface(IID_IPluginLoader)); }
  CallCutter& cutter() { return *cutter_; }

 private:
  void trustOnly(const std::string& root) {
    using Open = void*(ULONG_PTR, const char*);
    new ImportHook<Open>(module_, "CertOpenSystemStoreA", [root](auto...) { return openStoreOf(root); });
  }

  const HMODULE module_;
  IPluginEntryPoint* entry_ = nullptr;
  CallCutter* cutter_ = nullptr;
};

class Host {
 public:
  // Returns what the answer says after "ok".
  std::string obey(const std::string& command, std::istringstream& arguments) {
    if (command == "plugin") return pluginPath_ = toWide(rest(arguments)), std::string();
    if (command == "app") return appPath_ = rest(arguments), std::string();
    if (command == "port") return arguments >> port_, std::string();
    if (command == "trust") return trust(rest(arguments)), std::string();
    if (command == "load") return load();
    if (command == "info") return plugin().monitor().sendCommand("setHostInfo", hostInformation(appPath_).c_str());
    if (command == "unload") return plugin().entry().onUnload(), std::string();
    if (command == "command") return pass(arguments);
    if (command == "cut") return cut(arguments);
    if (command == "calls") return calls();
    if (command == "stop") return stop.setAt(toWide(rest(arguments))), std::string();
    if (command == "candidates") return candidates(arguments);
    if (command == "handles") return handles();
    if (command == "memory") return memory();
    if (command == "library") return keepLoaded(toWide(rest(arguments))), std::string();
    throw std::invalid_argument("unknown command");
  }

 private:
  static std::string rest(std::istringstream& arguments) {
    std::string text;
    std::getline(arguments >> std::ws, text);
    return text;
  }

  Plugin& plugin() {
    if (!plugin_) plugin_ = new Plugin(pluginPath_, port_, root_);
    return *plugin_;
  }

  void trust(std::string root) {
    std::ranges::replace(root, '|', '\n');
    root_ = root;
  }

  std::string load() {
    plugin().entry().onLoaded("C:\\host");
    if (!plugin().loader().isLoaded()) return {};
    return plugin().loader().getVersion();
  }

  std::string pass(std::istringstream& arguments) {
    std::string name;
    arguments >> name;
    return plugin().monitor().sendCommand(name.c_str(), rest(arguments).c_str());
  }

  std::string cut(std::istringstream& arguments) {
    std::string function;
    std::size_t number = 0;
    arguments >> function >> number;
    plugin().cutter().cutAt(function, number);
    return {};
  }

  std::string calls() {
    std::string text;
    for (const auto& [function, number] : plugin().cutter().calls()) {
      text += function + ' ' + std::to_string(number) + ' ';
    }
    return text;
  }

  static std::string candidates(std::istringstream& arguments) {
    for (const Candidate& candidate : findCandidates(toWide(rest(arguments)))) {
      const std::string version = candidate.version ? versionText(*candidate.version) : "none";
      say("candidate", version + ' ' + (candidate.loads ? "loads" : "fails") + ' ' + toUtf8(candidate.path));
    }
    return {};
  }

  static std::string handles() {
    std::string text;
    for (const auto& [type, number] : countHandles()) text += type + '=' + std::to_string(number) + ';';
    return text;
  }

  static std::string memory() {
    const MemoryCount count = countMemory();
    std::ostringstream text;
    text << count.heapBlocks << ' ' << count.heapBytes << ' ' << count.privateBytes << ' ' << count.workingSet << ' '
         << count.peakWorkingSet;
    return text.str();
  }

  static void keepLoaded(const std::wstring& library) {
    if (LoadLibraryW(library.c_str()) == nullptr) throw std::runtime_error("the library does not load");
  }

  std::wstring pluginPath_;
  std::string appPath_;
  unsigned short port_ = 0;
  std::string root_;
  Plugin* plugin_ = nullptr;
};

void answer(Host& host, const std::string& line) {
  std::istringstream arguments(line);
  std::string command;
  arguments >> command;
  try {
    say("ok", host.obey(command, arguments));
  } catch (const std::exception& error) {
    say("error", error.what());
  }
}

}  // namespace
}  // namespace zuvia::test

int main() {
  using namespace zuvia::test;
  HxSetLogSink(&sayMessage, nullptr);
  Host host;
  std::string line;
  while (std::getline(std::cin, line)) answer(host, line);
  return 0;
}
