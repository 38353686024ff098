#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "BridgeTest.h"
#include "support/HandleCount.h"

namespace zuvia::test {
namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

class LoadTest : public BridgeTest {
 protected:
  void listen() { monitor().addListener(events.listener()); }
};

// ---- Loading

TEST_F(LoadTest, LogsAndRaisesEventsInOrder) {
  addVersion(L"2.0.0.45");
  listen();
  entry().onLoaded("C:\\host");
  EXPECT_THAT(log.messages(), ElementsAre(L"onLoaded native v: 2.0.0.45, isLoad: false, path: C:\\host",
                                          L"onNotifyEvent cmd: pluginLoadedEvent, data: ", loadedLine(L"2.0.0.45"),
                                          L"onNotifyEvent cmd: pluginLoadedDoneEvent, data: 2.0.0.45"));
  EXPECT_THAT(events.texts(), ElementsAre("pluginLoadedEvent=", "pluginLoadedDoneEvent=2.0.0.45"));
  EXPECT_TRUE(loader().isLoaded());
}

TEST_F(LoadTest, NamesItsPlaceInEachLine) {
  entry().onLoaded(nullptr);
  entry().onUnload();
  ASSERT_THAT(log.lines(), SizeIs(3));
  const std::vector<LogLine> lines = {log.lines().front(), log.lines().back()};
  EXPECT_THAT(lines, Each(AllOf(Field(&LogLine::level, 1), Field(&LogLine::className, "ZuLoaderPrivate"),
                                Field(&LogLine::sourceFile, "ZuLoader"))));
  EXPECT_EQ(lines[0].functionName, "ZuLoaderPrivate::onLoaded");
  EXPECT_EQ(lines[1].functionName, "ZuLoaderPrivate::onUnload");
  EXPECT_NE(lines[0].line, lines[1].line);
}

TEST_F(LoadTest, TellsTheImplementationFirstAndListensToItThen) {
  addVersion(L"2.0.0.45");
  entry().onLoaded("C:\\host");
  EXPECT_EQ(takeRecord(), "onLoaded \"C:\\host\"\nqueryInterface IID_IWxMonitor\naddListener 7\n");
}

TEST_F(LoadTest, RaisesTheSecondEventBeforeTheImplementationKnows) {
  addVersion(L"2.0.0.45");
  std::string record = "not called";
  monitor().addListener([&](const char* name, const char*) {
    if (std::string(name) != "pluginLoadedDoneEvent") return;
    using TestRecord = const char*();
    const HMODULE module = GetModuleHandleW(modulePath(L"2.0.0.45").c_str());
    record = reinterpret_cast<TestRecord*>(reinterpret_cast<void*>(GetProcAddress(module, "testRecord")))();
  });
  entry().onLoaded(nullptr);
  EXPECT_EQ(record, "");
}

TEST_F(LoadTest, RaisesTheFirstEventBeforeItLooksForAnything) {
  monitor().addListener([&](const char* name, const char*) {
    if (std::string(name) != "pluginLoadedEvent") return;
    EXPECT_FALSE(loader().isLoaded());
    addVersion(L"2.0.0.45");
  });
  entry().onLoaded(nullptr);
  EXPECT_TRUE(loader().isLoaded());
}

TEST_F(LoadTest, LeavesANullPathOut) {
  addVersion(L"2.0.0.45");
  entry().onLoaded(nullptr);
  EXPECT_EQ(log.messages().front(), L"onLoaded native v: 2.0.0.45, isLoad: false, path: ");
  EXPECT_EQ(takeRecord().substr(0, 14), "onLoaded null\n");
}

TEST_F(LoadTest, ReadsAPathInTheSystemsCodePage) {
  addVersion(L"2.0.0.45");
  entry().onLoaded("\xe9");
  EXPECT_EQ(log.messages().front(), L"onLoaded native v: 2.0.0.45, isLoad: false, path: \u00e9");
  EXPECT_EQ(takeRecord().substr(0, 13), "onLoaded \"\xe9\"\n");
}

TEST_F(LoadTest, OnlyLogsASecondTime) {
  load();
  listen();
  entry().onLoaded("again");
  EXPECT_THAT(log.messages(), ElementsAre(L"onLoaded native v: 2.0.0.45, isLoad: true, path: again"));
  EXPECT_THAT(events.texts(), IsEmpty());
  EXPECT_EQ(takeRecord(), "");
}

TEST_F(LoadTest, OnlyLogsASecondTimeWhileUpdating) {
  load();
  monitor().sendCommand("setHostInfo", "{}");
  takeRecord();
  log.clear();
  entry().onLoaded(nullptr);
  EXPECT_THAT(log.messages(), ElementsAre(L"onLoaded native v: 2.0.0.45, isLoad: true, path: "));
  EXPECT_EQ(takeRecord(), "");
}

TEST_F(LoadTest, RaisesOneEventOnlyWhenThereIsNothingToLoad) {
  listen();
  entry().onLoaded("path");
  EXPECT_THAT(log.messages(), ElementsAre(L"onLoaded native v: 2.0.0.45, isLoad: false, path: path",
                                          L"onNotifyEvent cmd: pluginLoadedEvent, data: ",
                                          L"Load plugin fail! Paths are empty. dir: " + tree.root()));
  EXPECT_THAT(events.texts(), ElementsAre("pluginLoadedEvent="));
  EXPECT_FALSE(loader().isLoaded());
}

TEST_F(LoadTest, TriesAgainAfterAFailure) {
  entry().onLoaded("path");
  log.clear();
  addVersion(L"2.0.0.45");
  listen();
  entry().onLoaded("path");
  EXPECT_EQ(log.messages().front(), L"onLoaded native v: 2.0.0.45, isLoad: false, path: path");
  EXPECT_THAT(events.texts(), ElementsAre("pluginLoadedEvent=", "pluginLoadedDoneEvent=2.0.0.45"));
}

TEST_F(LoadTest, FallsBackToAnOlderVersion) {
  addVersion(L"2.0.0.45");
  addVersion(L"2.0.0.50", L"missing-dependency");
  listen();
  entry().onLoaded(nullptr);
  EXPECT_THAT(events.texts(), ElementsAre("pluginLoadedEvent=", "pluginLoadedDoneEvent=2.0.0.45"));
  EXPECT_STREQ(loader().getVersion(), "2.0.0.45");
}

TEST_F(LoadTest, RunsWithoutAMonitor) {
  addVersion(L"2.0.0.50", L"no-monitor");
  listen();
  entry().onLoaded(nullptr);
  EXPECT_TRUE(loader().isLoaded());
  EXPECT_THAT(events.texts(), ElementsAre("pluginLoadedEvent=", "pluginLoadedDoneEvent=2.0.0.50"));
  EXPECT_STREQ(monitor().sendCommand("record", nullptr), "");
  EXPECT_FALSE(monitor().monitorRelay1(nullptr, nullptr, nullptr));
  entry().onUnload();
  EXPECT_FALSE(loader().isLoaded());
}

TEST_F(LoadTest, LetsPassWhatAListenerThrows) {
  addVersion(L"2.0.0.45");
  const uint64_t id = monitor().addListener([](const char*, const char*) { throw std::runtime_error("enough"); });
  EXPECT_THROW(entry().onLoaded(nullptr), std::runtime_error);
  EXPECT_FALSE(loader().isLoaded());
  EXPECT_TRUE(monitor().removeListener(id));
  entry().onLoaded(nullptr);
  EXPECT_TRUE(loader().isLoaded());
}

// ---- Unloading

TEST_F(LoadTest, OnlyLogsAnUnloadBeforeAnyLoad) {
  listen();
  const TreeListing before = tree.listAll();
  entry().onUnload();
  entry().onUnload();
  EXPECT_THAT(log.messages(), ElementsAre(L"onUnload", L"onUnload"));
  EXPECT_THAT(events.texts(), IsEmpty());
  EXPECT_FALSE(loader().isLoaded());
  EXPECT_EQ(tree.listAll(), before);
}

// What an unload does, in its order, told by the calls that it makes.
class UnloadOrderTest : public LoadTest {
 protected:
  std::vector<std::string> journal;

 private:
  HMODULE self = GetModuleHandleW(nullptr);
  ImportHook<decltype(CloseThreadpoolWork)> closeWork{self, "CloseThreadpoolWork",
                                                      [this](auto* original, PTP_WORK work) {
                                                        EXPECT_EQ(log.messages().back(), L"onUnload");
                                                        journal.emplace_back("updater ended");
                                                        original(work);
                                                      }};
  ImportHook<decltype(FreeLibrary)> freeLibrary{self, "FreeLibrary", [this](auto* original, HMODULE module) {
                                                  using TestRecord = const char*();
                                                  const auto record = reinterpret_cast<TestRecord*>(
                                                      reinterpret_cast<void*>(GetProcAddress(module, "testRecord")));
                                                  if (record != nullptr)
                                                    journal.emplace_back(std::string("freed after ") + record());
                                                  return original(module);
                                                }};
};

TEST_F(UnloadOrderTest, EndsTheUpdaterThenTheListenerThenTheImplementation) {
  load();
  monitor().sendCommand("setHostInfo", "{}");
  takeRecord();
  log.clear();
  entry().onUnload();
  EXPECT_THAT(journal, ElementsAre("updater ended", "freed after removeListener 7\nonUnload\n"));
  EXPECT_THAT(log.messages(), ElementsAre(L"onUnload"));
  EXPECT_EQ(GetModuleHandleW(modulePath(L"2.0.0.45").c_str()), nullptr);
}

TEST_F(UnloadOrderTest, HasNothingLeftForASecondTime) {
  load();
  entry().onUnload();
  journal.clear();
  log.clear();
  entry().onUnload();
  EXPECT_THAT(journal, IsEmpty());
  EXPECT_THAT(log.messages(), ElementsAre(L"onUnload"));
}

TEST_F(UnloadOrderTest, NeverRemovesAListenerWithoutANumber) {
  addVersion(L"2.0.0.50", L"listener-zero");
  entry().onLoaded(nullptr);
  EXPECT_EQ(takeRecord(), "onLoaded null\nqueryInterface IID_IWxMonitor\naddListener 0\n");
  entry().onUnload();
  EXPECT_THAT(journal, ElementsAre("freed after onUnload\n"));
}

TEST_F(UnloadOrderTest, UnloadsAnImplementationWithoutAMonitor) {
  addVersion(L"2.0.0.50", L"no-monitor");
  entry().onLoaded(nullptr);
  entry().onUnload();
  EXPECT_THAT(journal, ElementsAre("freed after onLoaded null\nqueryInterface IID_IWxMonitor\nonUnload\n"));
}

TEST_F(UnloadOrderTest, CountsAListenerNumberOfTheNextLoadAnew) {
  load();
  entry().onUnload();
  entry().onLoaded(nullptr);
  journal.clear();
  entry().onUnload();
  EXPECT_THAT(journal, ElementsAre("freed after onLoaded null\nqueryInterface IID_IWxMonitor\naddListener 7\n"
                                   "removeListener 7\nonUnload\n"));
}

// ---- Loading again

TEST_F(LoadTest, KeepsTheVersionTextOfTheFirstLoad) {
  load();
  listen();
  entry().onUnload();
  EXPECT_STREQ(loader().getVersion(), "");
  addVersion(L"2.0.0.47");
  log.clear();
  entry().onLoaded(nullptr);
  EXPECT_THAT(log.messages(), testing::Contains(loadedLine(L"2.0.0.47")));
  EXPECT_THAT(events.texts(), ElementsAre("pluginLoadedEvent=", "pluginLoadedDoneEvent=2.0.0.45"));
  EXPECT_STREQ(loader().getVersion(), "2.0.0.45");
  EXPECT_STREQ(monitor().sendCommand("getVersion", nullptr), "2.0.0.45");
}

TEST_F(LoadTest, ServesTheSameListenersAfterAReload) {
  load();
  listen();
  entry().onUnload();
  entry().onLoaded(nullptr);
  monitor().sendCommand("emit", "again 1");
  EXPECT_THAT(events.texts(), ElementsAre("pluginLoadedEvent=", "pluginLoadedDoneEvent=2.0.0.45", "again=1"));
}

TEST_F(LoadTest, LeavesNothingOpenAfterUnloading) {
  addVersion(L"2.0.0.45");
  const auto live = [&] {
    entry().onLoaded(nullptr);
    monitor().sendCommand("setHostInfo", "{}");
    monitor().sendCommand("emit", "event");
    entry().onUnload();
  };
  const KeptModule kept(modulePath(L"2.0.0.45"));
  live();
  const HandleCheck handles;
  for (int i = 0; i < 3; ++i) live();
}

}  // namespace
}  // namespace zuvia::test
