#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>
#include <zuvia/Exports.h>
#include <zuvia/IPluginEntryPoint.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/HandleCount.h"

// The sample as its module: what a plugin that loads it can see.
namespace {

using testing::ElementsAre;
using testing::Pair;

struct ModuleFreer {
  void operator()(HMODULE module) const { FreeLibrary(module); }
};
using Module = std::unique_ptr<std::remove_pointer_t<HMODULE>, ModuleFreer>;

std::wstring pathOf(const std::wstring& version) {
  return std::filesystem::path(SAMPLES + version + L"/zuimpl.dll").make_preferred();
}

Module load(const std::wstring& version) {
  return Module(LoadLibraryW(pathOf(version).c_str()));
}

zuvia::IPluginEntryPoint* objectOf(HMODULE module) {
  const auto create = reinterpret_cast<zuvia::CreateImplFunction*>(
      reinterpret_cast<void*>(GetProcAddress(module, zuvia::kCreateImplExport)));
  return create == nullptr ? nullptr : create();
}

// The four numbers of a file's version resource.
std::vector<int> fileVersion(const std::wstring& path) {
  std::vector<char> block(GetFileVersionInfoSizeW(path.c_str(), nullptr));
  VS_FIXEDFILEINFO* fixed = nullptr;
  UINT length = 0;
  if (!GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data())) return {};
  if (!VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&fixed), &length)) return {};
  return {HIWORD(fixed->dwFileVersionMS), LOWORD(fixed->dwFileVersionMS), HIWORD(fixed->dwFileVersionLS),
          LOWORD(fixed->dwFileVersionLS)};
}

// Collects events; any thread.
class Events {
 public:
  zuvia::Listener listener() {
    return [this](const char* name, const char* data) {
      const std::lock_guard lock(mutex_);
      events_.emplace_back(name, data);
      thread_ = GetCurrentThreadId();
    };
  }

  std::vector<std::pair<std::string, std::string>> all() {
    const std::lock_guard lock(mutex_);
    return events_;
  }

  DWORD lastThread() {
    const std::lock_guard lock(mutex_);
    return thread_;
  }

 private:
  std::mutex mutex_;
  std::vector<std::pair<std::string, std::string>> events_;
  DWORD thread_ = 0;
};

class Sample : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(module, nullptr);
    ASSERT_NE(entry, nullptr);
    entry->onLoaded(nullptr);
  }
  void TearDown() override { entry->onUnload(); }

  std::string send(const char* command, const char* data) { return monitor().sendCommand(command, data); }

  zuvia::IWxMonitor& monitor() {
    return *static_cast<zuvia::IWxMonitor*>(entry->queryInterface(zuvia::IID_IWxMonitor));
  }
  zuvia::IPluginLoader& loader() {
    return *static_cast<zuvia::IPluginLoader*>(entry->queryInterface(zuvia::IID_IPluginLoader));
  }

  Module module = load(L"2.0.0.47");
  zuvia::IPluginEntryPoint* entry = objectOf(module.get());
};

TEST(SampleModules, LoadInTheirVersionsExceptTheBrokenOne) {
  for (const auto& [version, number] : {std::pair{L"2.0.0.45", 45}, {L"2.0.0.46", 46}, {L"2.0.0.47", 47}}) {
    EXPECT_THAT(fileVersion(pathOf(version)), ElementsAre(2, 0, 0, number));
    SetErrorMode(SEM_FAILCRITICALERRORS);
    const Module module = load(version);
    const DWORD error = GetLastError();
    EXPECT_EQ(module != nullptr, number != 46);
    if (number == 46) {
      EXPECT_EQ(error, DWORD{ERROR_MOD_NOT_FOUND});
    }
  }
}

TEST_F(Sample, AnswersThroughAllItsInterfaces) {
  auto* const root = static_cast<zuvia::IZUPlugin*>(entry->queryInterface(zuvia::IID_IZUPlugin));
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->queryInterface(zuvia::IID_IPluginEntryPoint), entry);
  EXPECT_EQ(monitor().queryInterface(zuvia::IID_IZUPlugin), root);
  EXPECT_EQ(loader().queryInterface(zuvia::IID_IZUPlugin), root);
  for (const char* unknown : {"", "IID_IZUPlugin ", "iid_izuplugin", "IID"})
    EXPECT_EQ(root->queryInterface(unknown), nullptr);
  EXPECT_EQ(objectOf(module.get()), entry);
}

TEST_F(Sample, KnowsItsVersionAndWhetherItIsLoaded) {
  EXPECT_STREQ(loader().getVersion(), "2.0.0.47");
  EXPECT_TRUE(loader().isLoaded());
  loader().noOperation();
  entry->onUnload();
  EXPECT_FALSE(loader().isLoaded());
}

TEST_F(Sample, EchoesAndAnswersNothingElse) {
  EXPECT_EQ(send("echo", "some data"), "some data");
  EXPECT_EQ(send("echo", ""), "");
  EXPECT_EQ(send("echo", nullptr), "");
  EXPECT_EQ(send("bogus", "data"), "");
  EXPECT_EQ(send("Echo", "data"), "");
}

TEST_F(Sample, RelaysWhetherTheFirstWordIsNotZero) {
  int word = 0;
  EXPECT_TRUE(monitor().monitorRelay1(&word, nullptr, nullptr));
  EXPECT_FALSE(monitor().monitorRelay1(nullptr, &word, &word));
  monitor().monitorRelay2(&word, &word, &word);
}

TEST_F(Sample, EmitsOnAThreadOfItsOwn) {
  Events events;
  EXPECT_NE(monitor().addListener(events.listener()), 0U);
  EXPECT_EQ(send("emit", "name some data"), "ok");
  entry->onUnload();
  EXPECT_THAT(events.all(), ElementsAre(Pair("name", "some data")));
  EXPECT_NE(events.lastThread(), GetCurrentThreadId());
}

TEST_F(Sample, EmitsWithoutDataButNotWithoutAName) {
  Events events;
  monitor().addListener(events.listener());
  EXPECT_EQ(send("emit", "name"), "ok");
  EXPECT_EQ(send("emit", ""), "");
  EXPECT_EQ(send("emit", nullptr), "");
  EXPECT_EQ(send("emit", " data"), "");
  entry->onUnload();
  EXPECT_THAT(events.all(), ElementsAre(Pair("name", "")));
}

TEST_F(Sample, DeliversEveryEventBeforeOnUnloadReturnsAndNoneAfter) {
  std::atomic<int> delivered = 0;
  monitor().addListener([&](const char*, const char*) {
    Sleep(20);
    ++delivered;
  });
  for (int i = 0; i < 20; ++i) EXPECT_EQ(send("emit", "name"), "ok");
  entry->onUnload();
  EXPECT_EQ(delivered, 20);
  EXPECT_EQ(send("emit", "name"), "");
  EXPECT_EQ(delivered, 20);
}

TEST_F(Sample, CallsListenersInTheOrderOfTheirIds) {
  Events events;
  std::vector<uint64_t> ids;
  for (int i = 0; i < 3; ++i)
    ids.push_back(monitor().addListener(
        [&events, i](const char* name, const char*) { events.listener()(name, std::to_string(i).c_str()); }));
  EXPECT_TRUE(std::ranges::is_sorted(ids));
  EXPECT_TRUE(monitor().removeListener(ids[1]));
  EXPECT_FALSE(monitor().removeListener(ids[1]));
  send("emit", "name");
  entry->onUnload();
  EXPECT_THAT(events.all(), ElementsAre(Pair("name", "0"), Pair("name", "2")));
}

TEST_F(Sample, LetsAListenerAddAndRemoveListeners) {
  Events events;
  std::promise<void> done;
  uint64_t self = 0;
  self = monitor().addListener([&](const char*, const char*) {
    monitor().addListener(events.listener());
    EXPECT_TRUE(monitor().removeListener(self));
    done.set_value();
  });
  send("emit", "first");
  ASSERT_EQ(done.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
  send("emit", "second");
  entry->onUnload();
  EXPECT_THAT(events.all(), ElementsAre(Pair("second", "")));
}

TEST_F(Sample, SurvivesAListenerThatThrows) {
  Events events;
  const uint64_t id = monitor().addListener([](const char*, const char*) { throw std::runtime_error("listener"); });
  monitor().addListener(events.listener());
  send("emit", "skipped");
  entry->onUnload();
  EXPECT_TRUE(events.all().empty());
  entry->onLoaded(nullptr);
  monitor().removeListener(id);
  send("emit", "name");
  entry->onUnload();
  EXPECT_THAT(events.all(), ElementsAre(Pair("name", "")));
}

TEST_F(Sample, KeepsNoThreadOfAnEventThatWasDelivered) {
  std::atomic<int> delivered = 0;
  monitor().addListener([&](const char*, const char*) { ++delivered; });
  auto emitOne = [&, count = 0]() mutable {
    EXPECT_EQ(send("emit", "name"), "ok");
    ++count;
    while (delivered < count) Sleep(1);
  };
  emitOne();
  const size_t before = zuvia::test::countHandles()["Thread"];
  for (int i = 0; i < 100; ++i) emitOne();
  EXPECT_LT(zuvia::test::countHandles()["Thread"], before + 20);
}

}  // namespace
