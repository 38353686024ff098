#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "BridgeTest.h"
#include "loader/ZuLoaderPrivate.h"

namespace zuvia::test {
namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

class EventsTest : public BridgeTest {
 protected:
  uint64_t listen(const std::string& prefix = {}) { return monitor().addListener(events.listener(prefix)); }
  std::string emit(const char* event) { return monitor().sendCommand("emit", event); }
};

TEST_F(EventsTest, NumberListenersFromOneHundred) {
  EXPECT_EQ(listen(), 100u);
  EXPECT_EQ(listen(), 101u);
  EXPECT_TRUE(monitor().removeListener(100));
  EXPECT_FALSE(monitor().removeListener(100));
  EXPECT_EQ(listen(), 102u);
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(EventsTest, NumberTheListenersOfAllObjectsTogether) {
  ZuLoader another;
  EXPECT_EQ(listen(), 100u);
  EXPECT_EQ(another.addListener(Listener()), 101u);
  EXPECT_FALSE(another.removeListener(100));
}

TEST_F(EventsTest, ReachEveryListenerInOrder) {
  load();
  listen("a ");
  listen("b ");
  EXPECT_EQ(emit("happened with some data"), "raised");
  EXPECT_THAT(events.texts(), ElementsAre("a happened=with some data", "b happened=with some data"));
}

TEST_F(EventsTest, AreLoggedAfterEachListener) {
  load();
  std::vector<size_t> linesBefore;
  for (int i = 0; i < 2; ++i) {
    monitor().addListener([&](const char*, const char*) { linesBefore.push_back(log.messages().size()); });
  }
  emit("happened data");
  EXPECT_THAT(linesBefore, ElementsAre(0, 1));
  EXPECT_THAT(log.messages(),
              ElementsAre(L"onNotifyEvent cmd: happened, data: data", L"onNotifyEvent cmd: happened, data: data"));
  EXPECT_THAT(log.lines(), Each(AllOf(Field(&LogLine::level, 1), Field(&LogLine::className, "ZuLoaderPrivate"),
                                      Field(&LogLine::sourceFile, "ZuLoader"),
                                      Field(&LogLine::functionName, "ZuLoaderPrivate::onNotifyEvent"))));
}

TEST_F(EventsTest, AreNotLoggedWithoutListeners) {
  load();
  EXPECT_EQ(emit("happened"), "raised");
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(EventsTest, MayLackNameAndData) {
  load();
  listen();
  EXPECT_STREQ(monitor().sendCommand("emit-null", nullptr), "raised");
  EXPECT_THAT(events.texts(), ElementsAre("(null)=(null)"));
  EXPECT_THAT(log.messages(), ElementsAre(L"onNotifyEvent cmd: , data: "));
}

TEST_F(EventsTest, ArriveOnTheThreadThatRaisesThem) {
  load();
  std::atomic<DWORD> thread = 0;
  monitor().addListener([&](const char*, const char*) { thread = GetCurrentThreadId(); });
  emit("happened");
  EXPECT_EQ(thread, GetCurrentThreadId());
  monitor().sendCommand("emit-async", "later");
  ASSERT_TRUE(log.waitFor(L"onNotifyEvent cmd: later, data: "));
  EXPECT_NE(thread, GetCurrentThreadId());
  EXPECT_EQ(log.lines().back().threadId, thread);
}

TEST_F(EventsTest, EndWithTheListener) {
  load();
  const uint64_t id = listen();
  emit("first");
  monitor().removeListener(id);
  emit("second");
  EXPECT_THAT(events.texts(), ElementsAre("first="));
}

TEST_F(EventsTest, StillReachAListenerThatTheyRemove) {
  load();
  uint64_t second = 0;
  monitor().addListener([&](const char*, const char*) { monitor().removeListener(second); });
  second = listen();
  emit("first");
  emit("second");
  EXPECT_THAT(events.texts(), ElementsAre("first="));
}

TEST_F(EventsTest, DoNotReachAListenerThatTheyAdd) {
  load();
  bool added = false;
  monitor().addListener([&](const char*, const char*) {
    if (!added) listen();
    added = true;
  });
  emit("first");
  emit("second");
  EXPECT_THAT(events.texts(), ElementsAre("second="));
}

TEST_F(EventsTest, MayBeRaisedFromInsideAListener) {
  load();
  monitor().addListener([&](const char* name, const char* data) {
    events.add(std::string(name) + '=' + data);
    if (std::string(name) == "outer") emit("inner 2");
  });
  emit("outer 1");
  EXPECT_THAT(events.texts(), ElementsAre("outer=1", "inner=2"));
  EXPECT_THAT(log.messages(), ElementsAre(L"onNotifyEvent cmd: inner, data: 2", L"onNotifyEvent cmd: outer, data: 1"));
}

TEST_F(EventsTest, StopAtAListenerThatThrows) {
  load();
  listen("a ");
  const uint64_t id = monitor().addListener([](const char*, const char*) { throw std::runtime_error("enough"); });
  listen("c ");
  EXPECT_EQ(emit("first"), "threw");
  EXPECT_THAT(events.texts(), ElementsAre("a first="));
  EXPECT_THAT(log.messages(), ElementsAre(L"onNotifyEvent cmd: first, data: "));
  monitor().removeListener(id);
  EXPECT_EQ(emit("second"), "raised");
  EXPECT_THAT(events.texts(), ElementsAre("a first=", "a second=", "c second="));
}

TEST_F(EventsTest, ThrowAtAnEmptyListener) {
  addVersion(L"2.0.0.45");
  listen("a ");
  const uint64_t empty = monitor().addListener(Listener());
  listen("c ");
  EXPECT_THROW(entry().onLoaded(nullptr), std::bad_function_call);
  EXPECT_THAT(events.texts(), ElementsAre("a pluginLoadedEvent="));
  EXPECT_FALSE(loader().isLoaded());
  EXPECT_TRUE(monitor().removeListener(empty));
}

TEST_F(EventsTest, OfAnUpgradeAreRaisedWithItsVersion) {
  ZuLoaderPrivate bridge(nullptr);
  bridge.addListener(events.listener());
  bridge.onUpdateSuccess("2.0.0.47");
  EXPECT_THAT(events.texts(), ElementsAre("pluginUpgradeEvent=2.0.0.47"));
  EXPECT_THAT(log.messages(), ElementsAre(L"onUpdateSuccess newVer: 2.0.0.47",
                                          L"onNotifyEvent cmd: pluginUpgradeEvent, data: 2.0.0.47"));
  const LogLine line = log.lines().front();
  EXPECT_EQ(line.className, "ZuLoaderPrivate");
  EXPECT_EQ(line.sourceFile, "ZuLoader");
  EXPECT_EQ(line.functionName, "ZuLoaderPrivate::onUpdateSuccess");
}

TEST_F(EventsTest, LoadNothingOfAnUpgrade) {
  load();
  addVersion(L"2.0.0.47");
  ZuLoaderPrivate bridge(nullptr);
  bridge.onUpdateSuccess("2.0.0.47");
  EXPECT_FALSE(bridge.isLoaded());
  EXPECT_STREQ(loader().getVersion(), "2.0.0.45");
}

TEST_F(EventsTest, ReachListenersOnManyThreadsAtOnce) {
  load();
  std::atomic<int> calls = 0;
  monitor().addListener([&](const char*, const char*) { ++calls; });
  for (int i = 0; i < 8; ++i) monitor().sendCommand("emit-async", ("happened " + std::to_string(i)).c_str());
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(monitor().removeListener(monitor().addListener([](auto, auto) {})));
  for (int i = 0; i < 8; ++i) EXPECT_TRUE(log.waitFor(L"onNotifyEvent cmd: happened, data: " + std::to_wstring(i)));
  EXPECT_EQ(calls, 8);
}

}  // namespace
}  // namespace zuvia::test
