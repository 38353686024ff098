// A plugin that shows a host what it was called with. It stands in for the real one where the host itself is tested.

#include <hxbase/Log.h>
#include <hxutility/Zip.h>
#include <zuvia/Exports.h>
#include <zuvia/IPluginEntryPoint.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

void log(const std::wstring& message) {
  DoLog2(1, "FakePlugin", "..\\fake\\FakePlugin", 42, "FakePlugin::log", message.c_str(), "fake.dll");
}

std::string hexadecimal(void* word) {
  char text[17] = {};
  const auto value = reinterpret_cast<uintptr_t>(word);
  for (int digit = 0; digit < 16; ++digit) text[digit] = "0123456789abcdef"[value >> (60 - 4 * digit) & 15];
  return text;
}

class FakePlugin final : public zuvia::IPluginEntryPoint, public zuvia::IPluginLoader, public zuvia::IWxMonitor {
 public:
  ~FakePlugin() override {
    join();
    log(L"destroyed");
  }

  void* queryInterface(const char* const& iid) override {
    const std::string_view wanted = iid;
    if (wanted == zuvia::IID_IPluginEntryPoint) return static_cast<zuvia::IPluginEntryPoint*>(this);
    if (wanted == zuvia::IID_IPluginLoader) return static_cast<zuvia::IPluginLoader*>(this);
    if (wanted == zuvia::IID_IWxMonitor) return static_cast<zuvia::IWxMonitor*>(this);
    if (wanted == zuvia::IID_IZUPlugin) return static_cast<zuvia::IZUPlugin*>(this);
    return nullptr;
  }

  void onLoaded(const char* path) override {
    loaded_ = true;
    raise("loaded", path);
  }

  void onUnload() override {
    loaded_ = false;
    join();
    raise("unloaded", "");
  }

  bool isLoaded() override { return loaded_; }
  void noOperation() override {}
  const char* getVersion() override { return loaded_ ? "1.2.3.4" : ""; }

  bool monitorRelay1(void* first, void* second, void* third) override {
    relay("relay1", first, second, third);
    return first == second;
  }
  void monitorRelay2(void* first, void* second, void* third) override { relay("relay2", first, second, third); }

  // echo: the data. bytes: what is no UTF-8. null, throw, throw-number: misbehave. emit, emit-storm: events on
  // threads. log: a line. unzip: whether the extraction library is there.
  const char* sendCommand(const char* cmd, const char* data) override {
    const std::string_view command = cmd;
    if (command == "null") return nullptr;
    if (command == "throw") throw std::runtime_error("on demand");
    if (command == "throw-number") throw 42;
    result_ = data == nullptr ? "(null)" : data;
    if (command == "bytes") result_ = "a\xFF\xC3(\xED\xA0\x80z";
    if (command == "emit") emit(data == nullptr ? "" : data, 1);
    if (command == "emit-storm") emit(data, 200);
    if (command == "emit-null") raise(nullptr, nullptr);
    if (command == "log") log(L"\u6587 \"quoted\"\n" + std::wstring(3000, L'x'));
    if (command == "unzip") result_ = unzips() ? "yes" : "no";
    return result_.c_str();
  }

  uint64_t addListener(const zuvia::Listener& listener) override {
    const std::lock_guard lock(mutex_);
    listeners_[nextId_] = listener;
    return nextId_++;
  }

  bool removeListener(uint64_t id) override {
    const std::lock_guard lock(mutex_);
    return listeners_.erase(id) != 0;
  }

 private:
  void raise(const char* name, const char* data) {
    std::unique_lock lock(mutex_);
    const auto listeners = listeners_;
    lock.unlock();
    for (const auto& [id, listener] : listeners) listener(name, data);
  }

  void relay(const char* name, void* first, void* second, void* third) {
    raise(name, (hexadecimal(first) + hexadecimal(second) + hexadecimal(third)).c_str());
  }

  void emit(const std::string& data, int count) {
    for (int thread = 0; thread < 4; ++thread) {
      threads_.emplace_back([this, data, count] {
        for (int i = 0; i < count; ++i) raise("emitted", data.c_str());
      });
      if (count == 1) break;
    }
  }

  void join() {
    for (auto& thread : threads_) thread.join();
    threads_.clear();
  }

  static bool unzips() {
    std::map<std::wstring, std::string> files;
    const std::string empty("7z\xBC\xAF\x27\x1C\0\x04\x8D\x9B\xD5\x0F", 12);
    return HxUtility::zip::UnZip7zToMemory((empty + std::string(20, '\0')).data(), 32, files);
  }

  bool loaded_ = false;
  std::string result_;
  std::mutex mutex_;
  uint64_t nextId_ = 100;
  std::map<uint64_t, zuvia::Listener> listeners_;
  std::vector<std::thread> threads_;
};

}  // namespace

extern "C" __declspec(dllexport) zuvia::IPluginEntryPoint* create() {
#if defined(FAKE_CREATES_NOTHING)
  return nullptr;
#elif defined(FAKE_THROWS)
  throw std::runtime_error("no plugin today");
#else
  return new FakePlugin;
#endif
}
