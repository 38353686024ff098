// A host that tells where its modules come from:
//
//   zuvia_test_planted_host PLUGIN APPPATH PORT CURRENT PATH
//
// It goes to the directory CURRENT, has PATH as its path, loads the plugin and says "ready". When it has read a line,
// it says "has MODULE" for every module that is there, and has the plugin load its implementation, update itself from
// the test server at that port where an implementation was loaded, unload, and load again. It says "version VERSION"
// after each load, "upgraded" after the update, "found MODULE" for every module that was loaded in all this, and
// "ordinary MODULE" for the library zucompanion.dll, looked for as LoadLibrary does. Its exit status is 0.

// Before windows.h.
#include <winsock2.h>

#include <tlhelp32.h>
#include <winternl.h>
#include <zuvia/Exports.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

#include <iostream>
#include <mutex>
#include <string>
#include <vector>

#include "integration/order/Signal.h"
#include "support/HookedEntries.h"
#include "support/HostInformation.h"
#include "support/NetworkRedirect.h"
#include "support/Text.h"

namespace {

using zuvia::test::toUtf8;
using zuvia::test::toWide;

// Hears of each module that the system loads into this process, for the rest of its life.
class ModuleWatch {
 public:
  ModuleWatch() {
    const auto start =
        reinterpret_cast<Register*>(zuvia::test::findFunction("ntdll.dll", "LdrRegisterDllNotification"));
    void* cookie = nullptr;
    if (start(0, &ModuleWatch::hear, this, &cookie) != 0) std::cout << "no watch" << std::endl;
  }

  void forget() {
    const std::lock_guard lock(mutex_);
    modules_.clear();
  }

  std::vector<std::wstring> modules() const {
    const std::lock_guard lock(mutex_);
    return modules_;
  }

 private:
  struct Notice {
    ULONG flags;
    const UNICODE_STRING* path;
    const UNICODE_STRING* name;
    void* base;
    ULONG size;
  };
  using Hear = void CALLBACK(ULONG, const Notice*, void*);
  using Register = NTSTATUS NTAPI(ULONG, Hear*, void*, void**);

  // Under the system's loader lock.
  static void CALLBACK hear(ULONG reason, const Notice* notice, void* context) {
    constexpr ULONG kLoaded = 1;
    if (reason != kLoaded) return;
    auto& self = *static_cast<ModuleWatch*>(context);
    const std::lock_guard lock(self.mutex_);
    self.modules_.emplace_back(notice->path->Buffer, notice->path->Length / sizeof(wchar_t));
  }

  mutable std::mutex mutex_;
  std::vector<std::wstring> modules_;
};

std::vector<std::wstring> loadedModules() {
  std::vector<std::wstring> modules;
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, GetCurrentProcessId());
  MODULEENTRY32W entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Module32FirstW(snapshot, &entry); more; more = Module32NextW(snapshot, &entry)) {
    modules.emplace_back(entry.szExePath);
  }
  CloseHandle(snapshot);
  return modules;
}

void say(const std::string& word, const std::string& text) {
  std::cout << word << ' ' << text << std::endl;
}

class Host {
 public:
  explicit Host(HMODULE plugin, unsigned short port)
      : network_(plugin, {{"localhost", 18443, port}, {"config.zuvia.example", 443, port}}),
        entry_(reinterpret_cast<zuvia::CreateFunction*>(
            reinterpret_cast<void*>(GetProcAddress(plugin, zuvia::kCreateExport)))()) {
    monitor().addListener([this](const char* name, const char*) {
      if (std::string(name) == "pluginUpgradeEvent") upgraded_.set();
    });
  }

  void load() {
    entry_->onLoaded("C:\\host");
    say("version", loader().getVersion());
  }

  void update(const std::string& appPath) {
    if (!loader().isLoaded()) return;
    monitor().sendCommand("setHostInfo", zuvia::test::hostInformation(appPath).c_str());
    if (upgraded_.wait()) std::cout << "upgraded" << std::endl;
  }

  void unload() { entry_->onUnload(); }

 private:
  zuvia::IPluginLoader& loader() {
    return *static_cast<zuvia::IPluginLoader*>(entry_->queryInterface(zuvia::IID_IPluginLoader));
  }
  zuvia::IWxMonitor& monitor() {
    return *static_cast<zuvia::IWxMonitor*>(entry_->queryInterface(zuvia::IID_IWxMonitor));
  }

  const zuvia::test::NetworkRedirect network_;
  zuvia::IPluginEntryPoint* const entry_;
  zuvia::test::Signal upgraded_;
};

void tellOrdinarySearch() {
  const HMODULE found = LoadLibraryW(L"zucompanion.dll");
  wchar_t path[MAX_PATH] = L"nothing";
  if (found != nullptr) GetModuleFileNameW(found, path, MAX_PATH);
  say("ordinary", toUtf8(path));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) return 1;
  SetCurrentDirectoryW(toWide(argv[4]).c_str());
  SetEnvironmentVariableW(L"PATH", toWide(argv[5]).c_str());
  ModuleWatch& watch = *new ModuleWatch;
  const HMODULE plugin = LoadLibraryW(toWide(argv[1]).c_str());
  if (plugin == nullptr) return 1;
  std::cout << "ready" << std::endl;
  std::string line;
  std::getline(std::cin, line);

  for (const std::wstring& module : loadedModules()) say("has", toUtf8(module));
  watch.forget();
  {
    Host host(plugin, static_cast<unsigned short>(std::stoi(argv[3])));
    host.load();
    host.update(argv[2]);
    host.unload();
    host.load();
    host.unload();
  }
  for (const std::wstring& module : watch.modules()) say("found", toUtf8(module));
  tellOrdinarySearch();
  return 0;
}
