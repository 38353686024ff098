#include "EventLog.h"

#include <gtest/gtest.h>

#include <thread>

namespace zuhost {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLong(60'000);

class EventLogTest : public testing::Test {
 protected:
  void SetUp() override { events.addListener(100); }

  EventLog events;
};

TEST_F(EventLogTest, ReturnsAtOnceWhenTheEventHasArrived) {
  events.arrived("a", 100);
  EXPECT_TRUE(events.wait("a", kLong));
}

TEST_F(EventLogTest, WaitsUntilTheEventArrives) {
  std::thread raiser([this] {
    std::this_thread::sleep_for(milliseconds(20));
    events.arrived("b", 100);
    events.arrived("a", 100);
  });
  EXPECT_TRUE(events.wait("a", kLong));
  raiser.join();
}

TEST_F(EventLogTest, GivesUpAfterTheTimeout) {
  events.arrived("b", 100);
  const auto begin = steady_clock::now();
  EXPECT_FALSE(events.wait("a", milliseconds(50)));
  EXPECT_GE(steady_clock::now() - begin, milliseconds(40));
}

TEST_F(EventLogTest, CountsFromTheLastWaitForThatEvent) {
  events.arrived("a", 100);
  events.arrived("a", 100);
  events.arrived("b", 100);
  EXPECT_TRUE(events.wait("a", milliseconds(0)));
  EXPECT_FALSE(events.wait("a", milliseconds(0)));
  EXPECT_TRUE(events.wait("b", milliseconds(0)));
  events.arrived("a", 100);
  EXPECT_TRUE(events.wait("a", milliseconds(0)));
}

TEST_F(EventLogTest, CountsAnEventOnceForSeveralListeners) {
  events.addListener(101);
  events.arrived("a", 100);
  EXPECT_TRUE(events.wait("a", milliseconds(0)));
  events.arrived("a", 101);
  EXPECT_FALSE(events.wait("a", milliseconds(0)));
}

TEST_F(EventLogTest, GoesOnWithTheNextListenerWhenTheFirstIsRemoved) {
  events.addListener(101);
  events.removeListener(100);
  events.arrived("a", 101);
  EXPECT_TRUE(events.wait("a", milliseconds(0)));
}

TEST_F(EventLogTest, KnowsWhatCountedAndWhetherAnybodyListens) {
  EXPECT_TRUE(events.hasListener());
  EXPECT_TRUE(events.arrived("b", 100));
  EXPECT_FALSE(events.arrived("c", 101));
  EXPECT_TRUE(events.arrived("a", 100));
  EXPECT_TRUE(events.wait("a", milliseconds(0)));
  EXPECT_EQ(events.names(), (std::set<std::string>{"a", "b"}));
  events.removeListener(100);
  EXPECT_FALSE(events.hasListener());
}

}  // namespace
}  // namespace zuhost
