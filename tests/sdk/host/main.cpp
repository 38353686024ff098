// A host that knows the installed headers only. It unpacks a package as the plugin does, loads the plugin, and says
// what comes of it.
//
//   host PLUGIN PACKAGE
#include <windows.h>

#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <string>

#include <hxbase/LogControl.h>
#include <hxutility/Zip.h>
#include <zuvia/Commands.h>
#include <zuvia/Events.h>
#include <zuvia/Exports.h>
#include <zuvia/IPluginEntryPoint.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

namespace {

void showPackage(const char* file) {
  std::ifstream stream(file, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  std::map<std::wstring, std::string> files;
  std::cout << "unpacked " << HxUtility::zip::UnZip7zToMemory(bytes.data(), bytes.size(), files) << '\n';
  for (const auto& [name, content] : files) std::wcout << L"  " << name << L'\n';
}

zuvia::IPluginEntryPoint* createPlugin(const char* file) {
  const HMODULE module = LoadLibraryA(file);
  if (module == nullptr) return nullptr;
  const auto create =
      reinterpret_cast<zuvia::CreateFunction*>(reinterpret_cast<void*>(GetProcAddress(module, zuvia::kCreateExport)));
  return create != nullptr ? create() : nullptr;
}

template <class Interface>
Interface& ask(zuvia::IPluginEntryPoint& plugin, const char* id) {
  return *static_cast<Interface*>(plugin.queryInterface(id));
}

void drive(zuvia::IPluginEntryPoint& plugin) {
  auto& loader = ask<zuvia::IPluginLoader>(plugin, zuvia::IID_IPluginLoader);
  auto& monitor = ask<zuvia::IWxMonitor>(plugin, zuvia::IID_IWxMonitor);
  const uint64_t listener = monitor.addListener(
      [](const char* name, const char* data) { std::cout << "event " << name << '=' << data << '\n'; });

  plugin.onLoaded(nullptr);
  std::cout << "loaded " << loader.isLoaded() << ' ' << loader.getVersion() << '\n';
  std::cout << monitor.sendCommand(zuvia::kIsLoadedCommand, nullptr) << '\n';
  std::cout << monitor.sendCommand("greet", "world") << '\n';
  plugin.onUnload();
  std::cout << "loaded " << loader.isLoaded() << ", removed " << monitor.removeListener(listener) << '\n';
}

void countLine(void* lines, uint16_t, const char*, const char*, uint16_t, const char*, const wchar_t*, const char*) {
  ++*static_cast<int*>(lines);
}

}  // namespace

int main(int, char** arguments) {
  int lines = 0;
  HxSetLogSink(countLine, &lines);
  showPackage(arguments[2]);
  zuvia::IPluginEntryPoint* plugin = createPlugin(arguments[1]);
  if (plugin == nullptr) {
    std::cout << "no plugin: error " << GetLastError() << '\n';
    return 1;
  }
  drive(*plugin);
  HxSetLogSink(nullptr, nullptr);
  std::cout << "logged " << (lines > 0) << '\n';
}
