#include <zuvia/EventListeners.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Uncopyable.h"

namespace zuvia {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class EventListenersTest : public testing::Test {
 protected:
  // Writes down its name when it is called.
  Listener noting(const std::string& name) {
    return [this, name](const char*, const char*) { calls.push_back(name); };
  }

  void raise() { listeners.raise("name", "data"); }

  EventListeners listeners;
  std::vector<std::string> calls;
};

// Calls back when it is copied or destroyed, as what a listener holds may do.
struct Meddler {
  explicit Meddler(std::function<void()> called) : meddle(std::move(called)) {}
  Meddler(const Meddler& other) : meddle(other.meddle) { meddle(); }
  Meddler& operator=(const Meddler&) = delete;
  ~Meddler() { meddle(); }
  void operator()(const char*, const char*) const { meddle(); }

  std::function<void()> meddle;
};

TEST_F(EventListenersTest, AreNumberedFromOneAndNoNumberIsGivenTwice) {
  EXPECT_EQ(listeners.add(noting("first")), 1U);
  EXPECT_EQ(listeners.add(Listener()), 2U);
  EXPECT_TRUE(listeners.remove(2));
  EXPECT_EQ(listeners.add(noting("third")), 3U);
}

TEST_F(EventListenersTest, AreRemovedOnce) {
  const uint64_t id = listeners.add(noting("one"));
  EXPECT_FALSE(listeners.remove(0));
  EXPECT_FALSE(listeners.remove(id + 1));
  EXPECT_TRUE(listeners.remove(id));
  EXPECT_FALSE(listeners.remove(id));
  raise();
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(EventListenersTest, AreKeptAsCopiesUntilTheyAreRemoved) {
  const auto owned = std::make_shared<int>();
  const uint64_t id = listeners.add([owned](const char*, const char*) {});
  EXPECT_EQ(owned.use_count(), 2);
  listeners.remove(id);
  EXPECT_EQ(owned.use_count(), 1);
}

TEST_F(EventListenersTest, AreCalledInTheOrderOfTheirNumbers) {
  listeners.add(noting("first"));
  const uint64_t second = listeners.add(noting("second"));
  listeners.add(noting("third"));
  listeners.remove(second);
  listeners.add(noting("fourth"));
  raise();
  EXPECT_THAT(calls, ElementsAre("first", "third", "fourth"));
}

TEST_F(EventListenersTest, GetThePointersAsTheyAre) {
  const char* const name = "name";
  int called = 0;
  listeners.add([&](const char* gotName, const char* gotData) {
    EXPECT_EQ(gotName, name);
    EXPECT_EQ(gotData, nullptr);
    ++called;
  });
  listeners.raise(name, nullptr);
  EXPECT_EQ(called, 1);
}

TEST_F(EventListenersTest, GetTheEventInWhichTheyAreRemovedAndNotTheOneInWhichTheyAreAdded) {
  uint64_t second = 0;
  listeners.add([&](const char*, const char*) {
    if (listeners.remove(second)) listeners.add(noting("added"));
  });
  second = listeners.add(noting("second"));
  raise();
  EXPECT_THAT(calls, ElementsAre("second"));
  raise();
  EXPECT_THAT(calls, ElementsAre("second", "added"));
}

TEST_F(EventListenersTest, MayRemoveThemselvesAndRaiseEvents) {
  uint64_t self = 0;
  self = listeners.add([&](const char* name, const char*) {
    EXPECT_TRUE(listeners.remove(self));
    calls.emplace_back(name);
    listeners.raise("inner", "");
  });
  listeners.add([&](const char* name, const char*) { calls.emplace_back(name); });
  listeners.raise("outer", "");
  EXPECT_THAT(calls, ElementsAre("outer", "inner", "outer"));
}

TEST_F(EventListenersTest, MayUseTheTableWhileTheyAreCopiedCalledAndDestroyed) {
  int meddled = 0;
  std::vector<uint64_t> added;
  const uint64_t id = listeners.add(Meddler([&] {
    ++meddled;
    added.push_back(listeners.add(noting("added")));
  }));
  raise();
  const int before = meddled;
  listeners.remove(id);
  EXPECT_GT(meddled, before);
  EXPECT_THAT(added, testing::SizeIs(meddled));
  EXPECT_TRUE(std::ranges::all_of(added, [&](uint64_t one) { return listeners.remove(one); }));
}

TEST_F(EventListenersTest, EndTheRoundWithWhatTheyThrow) {
  listeners.add(noting("first"));
  const uint64_t throwing = listeners.add([](const char*, const char*) { throw std::runtime_error("listener"); });
  listeners.add(noting("third"));
  EXPECT_THROW(raise(), std::runtime_error);
  EXPECT_THAT(calls, ElementsAre("first"));
  listeners.remove(throwing);
  raise();
  EXPECT_THAT(calls, ElementsAre("first", "first", "third"));
}

TEST_F(EventListenersTest, CountAsThrowingWhenTheyAreEmpty) {
  listeners.add(Listener());
  EXPECT_THROW(raise(), std::bad_function_call);
}

TEST_F(EventListenersTest, AreNotRegisteredWhenTheyCannotBeCopied) {
  bool fails = false;
  const Listener listener = Uncopyable(fails);
  fails = true;
  EXPECT_THROW(listeners.add(listener), std::bad_alloc);
  EXPECT_FALSE(listeners.remove(1));
  fails = false;
  EXPECT_EQ(listeners.add(listener), 1U);
}

TEST_F(EventListenersTest, MayComeAndGoOnManyThreadsWhileEventsAreRaised) {
  std::atomic<int> called = 0;
  std::atomic<bool> ended = false;
  const uint64_t kept = listeners.add([&](const char*, const char*) { ++called; });
  std::thread raising([&] {
    while (!ended) raise();
  });
  std::vector<std::vector<uint64_t>> ids(4);
  std::vector<std::thread> threads;
  for (auto& own : ids) {
    threads.emplace_back([&] {
      for (int i = 0; i < 300; ++i) {
        own.push_back(listeners.add([&](const char*, const char*) { ++called; }));
        EXPECT_TRUE(listeners.remove(own.back()));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  ended = true;
  raising.join();

  std::vector<uint64_t> all;
  for (const auto& own : ids) all.insert(all.end(), own.begin(), own.end());
  std::ranges::sort(all);
  EXPECT_EQ(std::ranges::adjacent_find(all), all.end());
  EXPECT_EQ(all.front(), kept + 1);
  EXPECT_EQ(all.back(), kept + 1200);
  called = 0;
  raise();
  EXPECT_EQ(called, 1);
}

}  // namespace
}  // namespace zuvia
