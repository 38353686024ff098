// What the modules of tests/modules promise.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>
#include <zuvia/Exports.h>
#include <zuvia/IWxMonitor.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/InstallTree.h"
#include "support/WideText.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

class Module {
 public:
  explicit Module(const std::wstring& path) : handle_(LoadLibraryW(path.c_str())) {}
  ~Module() {
    if (handle_ != nullptr) FreeLibrary(handle_);
  }
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  bool loaded() const { return handle_ != nullptr; }
  CreateImplFunction* createImpl() const { return function<CreateImplFunction>("createImpl"); }
  std::string record() const { return function<const char*()>("testRecord")(); }
  IWxMonitor* monitor() const { return static_cast<IWxMonitor*>(createImpl()()->queryInterface(IID_IWxMonitor)); }

 private:
  template <typename Function>
  Function* function(const char* name) const {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(handle_, name)));
  }

  HMODULE handle_;
};

std::string versionOf(const std::wstring& path) {
  DWORD ignored = 0;
  std::vector<char> data(GetFileVersionInfoSizeW(path.c_str(), &ignored));
  if (data.empty() || !GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(data.size()), data.data()))
    return "none";
  void* info = nullptr;
  UINT size = 0;
  if (!VerQueryValueW(data.data(), L"\\", &info, &size)) return "no root block";
  if (size == 0) return info == nullptr ? "empty, null" : "empty";
  const auto& fixed = *static_cast<const VS_FIXEDFILEINFO*>(info);
  return std::to_string(HIWORD(fixed.dwFileVersionMS)) + '.' + std::to_string(LOWORD(fixed.dwFileVersionMS)) + '.' +
         std::to_string(HIWORD(fixed.dwFileVersionLS)) + '.' + std::to_string(LOWORD(fixed.dwFileVersionLS));
}

TEST(Modules, HaveTheVersionOfTheirName) {
  for (const char* version : {"0.0.0.0", "2.0.0.45", "2.0.0.47", "2.0.1.0", "9.9.9.9", "10.0.0.0"}) {
    EXPECT_EQ(versionOf(moduleFile(toWide(version))), version);
  }
}

TEST(Modules, MayHaveNoUsableVersion) {
  EXPECT_EQ(versionOf(moduleFile(L"no-version")), "none");
  EXPECT_EQ(versionOf(moduleFile(L"no-fixed-info")), "empty");
}

TEST(Modules, RecordWhatTheyAreCalledWith) {
  const Module module(moduleFile(L"2.0.0.45"));
  IPluginEntryPoint* entry = module.createImpl()();
  entry->onLoaded(nullptr);
  IWxMonitor* monitor = module.monitor();
  const uint64_t id = monitor->addListener([](const char*, const char*) {});
  EXPECT_STREQ(monitor->sendCommand("anything", "data"), "answer to anything");
  const auto word = [](std::uintptr_t value) { return reinterpret_cast<void*>(value); };
  EXPECT_TRUE(monitor->monitorRelay1(word(1), word(2), word(3)));
  monitor->monitorRelay2(word(4), word(5), word(6));
  EXPECT_TRUE(monitor->removeListener(id));
  entry->onUnload();
  EXPECT_EQ(module.record(),
            "onLoaded null\nqueryInterface IID_IWxMonitor\naddListener 7\nsendCommand \"anything\" \"data\"\n"
            "monitorRelay1 1 2 3\nmonitorRelay2 4 5 6\nremoveListener 7\nonUnload\n");
  EXPECT_EQ(monitor->sendCommand("record", nullptr), module.record());
  monitor->sendCommand("forget", nullptr);
  EXPECT_EQ(module.record(), "");
}

TEST(Modules, RaiseEventsOnCommand) {
  const Module module(moduleFile(L"2.0.0.45"));
  std::vector<std::pair<std::string, DWORD>> events;
  IWxMonitor* monitor = module.monitor();
  monitor->addListener([&](const char* name, const char* data) {
    events.emplace_back(std::string(name) + '=' + data, GetCurrentThreadId());
  });
  EXPECT_STREQ(monitor->sendCommand("emit", "one some data"), "raised");
  EXPECT_STREQ(monitor->sendCommand("emit-async", "two"), "started");
  module.createImpl()()->onUnload();
  const DWORD self = GetCurrentThreadId();
  EXPECT_THAT(events, ElementsAre(Pair("one=some data", self), Pair("two=", testing::Ne(self))));
}

TEST(Modules, TellWhenAListenerThrows) {
  const Module module(moduleFile(L"2.0.0.45"));
  IWxMonitor* monitor = module.monitor();
  monitor->addListener({});
  EXPECT_STREQ(monitor->sendCommand("emit", "one"), "threw");
}

TEST(Modules, DoNotLoadWithoutTheirDependency) {
  const Module module(moduleFile(L"missing-dependency"));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
  EXPECT_FALSE(module.loaded());
}

TEST(Modules, LoadWithTheirCompanionBesideThem) {
  const InstallTree tree;
  const std::wstring directory = tree.addVersion(L"2.0.0.50", moduleFile(L"needs-companion"));
  EXPECT_FALSE(Module(directory + L"\\zuimpl.dll").loaded());
  copyFile(companionFile(), directory + L"\\zucompanion.dll");
  const HMODULE module = LoadLibraryExW((directory + L"\\zuimpl.dll").c_str(), nullptr,
                                        LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
  EXPECT_NE(module, nullptr);
  FreeLibrary(module);
}

TEST(Modules, MisbehaveAsTheirNameSays) {
  EXPECT_EQ(Module(moduleFile(L"no-export")).createImpl(), nullptr);
  EXPECT_EQ(Module(moduleFile(L"null-object")).createImpl()(), nullptr);
  EXPECT_EQ(Module(moduleFile(L"no-monitor")).monitor(), nullptr);
  EXPECT_EQ(Module(moduleFile(L"listener-zero")).monitor()->addListener({}), 0u);
}

TEST(Modules, ThrowFromCreateImpl) {
  const Module throws(moduleFile(L"throws"));
  EXPECT_THROW(throws.createImpl()(), std::exception);
  const Module throwsInt(moduleFile(L"throws-int"));
  EXPECT_THROW(throwsInt.createImpl()(), int);
}

TEST(Modules, MayBeSlow) {
  const Module slow(moduleFile(L"slow"));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_NE(slow.createImpl()(), nullptr);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

}  // namespace
}  // namespace zuvia::test
