// A host: loads the plugin from below its own directory, says who it is, listens, sends a command, and unloads.
#include <windows.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <zuvia/Commands.h>
#include <zuvia/Events.h>
#include <zuvia/Exports.h>
#include <zuvia/IPluginEntryPoint.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

namespace {

struct Event {
  std::string name;
  std::string data;
};

// Events come on any thread, several at once. They are kept here until the host's own thread takes them.
class EventQueue {
 public:
  // A listener must let nothing pass: an event that finds no memory is lost.
  void push(const char* name, const char* data) noexcept {
    try {
      const std::lock_guard<std::mutex> lock(mutex_);
      events_.push_back({name != nullptr ? name : "", data != nullptr ? data : ""});
    } catch (const std::exception&) {
    }
  }

  std::vector<Event> takeAll() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(events_, {});
  }

 private:
  std::mutex mutex_;  // guards events_
  std::vector<Event> events_;
};

// The directory of this program; empty when it cannot be found.
std::filesystem::path ownDirectory() {
  std::array<wchar_t, 1024> file = {};
  const DWORD length = GetModuleFileNameW(nullptr, file.data(), static_cast<DWORD>(file.size()));
  return length < file.size() ? std::filesystem::path(file.data()).parent_path() : std::filesystem::path();
}

// Loads the plugin by its complete path, so that no other one is found, and asks for the object of the process. The
// module is never freed. Null: GetLastError() tells why.
zuvia::IPluginEntryPoint* createPlugin(const std::filesystem::path& file) {
  const HMODULE module = LoadLibraryW(file.c_str());
  if (module == nullptr) return nullptr;
  const FARPROC create = GetProcAddress(module, zuvia::kCreateExport);
  if (create == nullptr) return nullptr;
  return reinterpret_cast<zuvia::CreateFunction*>(reinterpret_cast<void*>(create))();
}

// The identifier says which type the answer has. The plugin object has all three; never null.
template <class Interface>
Interface& ask(zuvia::IPluginEntryPoint& plugin, const char* id) {
  return *static_cast<Interface*>(plugin.queryInterface(id));
}

// A JSON text of a path. A host that has a JSON library takes that.
std::string quoted(const std::filesystem::path& path) {
  std::string text = "\"";
  for (const char8_t character : path.u8string()) {
    if (character == u8'\\' || character == u8'"') text += '\\';
    text += static_cast<char>(character);
  }
  return text + '"';
}

// The host information. With "test_env" the service of the test environment is asked for updates.
std::string hostInformation(uint64_t user) {
  const wchar_t* const directory = _wgetenv(L"LOCALAPPDATA");
  const std::filesystem::path data = std::filesystem::path(directory != nullptr ? directory : L".") / L"sample-host";
  return R"({"uid": )" + std::to_string(user) + R"(, "ver": "1.0.0", "test_env": true, "app_path": )" + quoted(data) +
         "}";
}

// On the host's own thread, where it may do what it likes; a listener may not.
void handle(const Event& event) {
  std::cout << "event " << event.name << ": " << event.data << '\n';
  if (event.name == zuvia::kPluginUpgradeEvent) std::cout << "the next start runs it\n";
}

bool run(zuvia::IPluginEntryPoint& plugin) {
  auto& loader = ask<zuvia::IPluginLoader>(plugin, zuvia::IID_IPluginLoader);
  auto& monitor = ask<zuvia::IWxMonitor>(plugin, zuvia::IID_IWxMonitor);

  EventQueue events;  // outlives the listener: nothing calls that any more when onUnload has returned
  const uint64_t listener =
      monitor.addListener([&events](const char* name, const char* data) { events.push(name, data); });

  plugin.onLoaded(nullptr);
  const bool loaded = loader.isLoaded();
  if (loaded) {
    monitor.sendCommand(zuvia::kSetHostInfoCommand, hostInformation(1001).c_str());
    const std::string answer = monitor.sendCommand("greet", "world");  // copied: the next call replaces the text
    std::cout << "answer " << answer << '\n';
  }
  plugin.onUnload();
  monitor.removeListener(listener);
  for (const Event& event : events.takeAll()) handle(event);
  return loaded;
}

}  // namespace

int main() {
  const std::filesystem::path file = ownDirectory() / L"plugin" / L"zuviaplugin.dll";
  zuvia::IPluginEntryPoint* const plugin = createPlugin(file);
  if (plugin == nullptr) {
    std::cerr << "host: " << file.string() << " cannot be loaded: error " << GetLastError() << '\n';
    return 1;
  }
  if (!run(*plugin)) {
    std::cerr << "host: no implementation was loaded; the log says why\n";
    return 1;
  }
}
