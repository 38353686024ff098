#include "loader/ListenerTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace zuvia {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::function<void()> kNothing = [] {};

// Writes down its name when it is called.
Listener noting(std::vector<std::string>& calls, const std::string& name) {
  return [&calls, name](const char*, const char*) { calls.push_back(name); };
}

TEST(ListenerTable, NumbersListenersFromOneHundred) {
  ListenerTable table;
  EXPECT_EQ(table.add(Listener()), 100u);
  EXPECT_EQ(table.add(Listener()), 101u);
}

TEST(ListenerTable, NeverGivesANumberTwice) {
  ListenerTable table;
  const uint64_t first = table.add(Listener());
  EXPECT_TRUE(table.remove(first));
  EXPECT_EQ(table.add(Listener()), first + 1);
  EXPECT_EQ(ListenerTable().add(Listener()), first + 2);
}

TEST(ListenerTable, NumbersListenersOfManyThreadsApart) {
  ListenerTable table;
  std::vector<std::vector<uint64_t>> ids(4);
  std::vector<std::thread> threads;
  for (std::vector<uint64_t>& own : ids) {
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) own.push_back(table.add(Listener()));
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::vector<uint64_t> all;
  for (const std::vector<uint64_t>& own : ids) {
    EXPECT_TRUE(std::ranges::is_sorted(own));
    all.insert(all.end(), own.begin(), own.end());
  }
  std::ranges::sort(all);
  EXPECT_EQ(std::ranges::adjacent_find(all), all.end());
  EXPECT_EQ(all.back() - all.front(), 1999u);
}

TEST(ListenerTable, RemovesAListenerOnce) {
  ListenerTable table;
  const uint64_t id = table.add(Listener());
  EXPECT_FALSE(table.remove(id + 1));
  EXPECT_TRUE(table.remove(id));
  EXPECT_FALSE(table.remove(id));
}

TEST(ListenerTable, KeepsACopyUntilItIsRemoved) {
  ListenerTable table;
  const auto owned = std::make_shared<int>();
  const uint64_t id = table.add([owned](const char*, const char*) {});
  EXPECT_EQ(owned.use_count(), 2);
  table.remove(id);
  EXPECT_EQ(owned.use_count(), 1);
}

TEST(ListenerTable, DestroysItsCopies) {
  const auto owned = std::make_shared<int>();
  {
    ListenerTable table;
    table.add([owned](const char*, const char*) {});
  }
  EXPECT_EQ(owned.use_count(), 1);
}

TEST(ListenerTable, CallsListenersInAscendingOrderOfNumbers) {
  ListenerTable table;
  std::vector<std::string> calls;
  table.add(noting(calls, "first"));
  const uint64_t second = table.add(noting(calls, "second"));
  table.add(noting(calls, "third"));
  table.remove(second);
  table.add(noting(calls, "fourth"));
  table.notify("name", "data", kNothing);
  EXPECT_THAT(calls, ElementsAre("first", "third", "fourth"));
}

TEST(ListenerTable, HandsThePointersOnAsTheyAre) {
  ListenerTable table;
  const char* const name = "name";
  int calls = 0;
  table.add([&](const char* gotName, const char* gotData) {
    EXPECT_EQ(gotName, name);
    EXPECT_EQ(gotData, nullptr);
    ++calls;
  });
  table.notify(name, nullptr, kNothing);
  EXPECT_EQ(calls, 1);
}

TEST(ListenerTable, TellsAfterEachListener) {
  ListenerTable table;
  std::vector<std::string> calls;
  table.add(noting(calls, "first"));
  table.add(noting(calls, "second"));
  table.notify("name", "data", [&] { calls.push_back("told"); });
  EXPECT_THAT(calls, ElementsAre("first", "told", "second", "told"));
}

TEST(ListenerTable, TellsNothingWithoutListeners) {
  ListenerTable table;
  int told = 0;
  table.notify("name", "data", [&] { ++told; });
  EXPECT_EQ(told, 0);
}

TEST(ListenerTable, ServesTheRoundToAListenerRemovedInIt) {
  ListenerTable table;
  std::vector<std::string> calls;
  uint64_t second = 0;
  table.add([&](const char*, const char*) { EXPECT_EQ(table.remove(second), calls.empty()); });
  second = table.add(noting(calls, "second"));
  table.notify("name", "data", kNothing);
  table.notify("name", "data", kNothing);
  EXPECT_THAT(calls, ElementsAre("second"));
}

TEST(ListenerTable, ServesNoRoundToAListenerAddedInIt) {
  ListenerTable table;
  std::vector<std::string> calls;
  bool added = false;
  table.add([&](const char*, const char*) {
    if (!added) table.add(noting(calls, "added"));
    added = true;
  });
  table.notify("name", "data", kNothing);
  EXPECT_THAT(calls, IsEmpty());
  table.notify("name", "data", kNothing);
  EXPECT_THAT(calls, ElementsAre("added"));
}

TEST(ListenerTable, LetsAListenerRemoveItself) {
  ListenerTable table;
  int calls = 0;
  uint64_t id = 0;
  id = table.add([&](const char*, const char*) {
    EXPECT_TRUE(table.remove(id));
    ++calls;
  });
  table.notify("name", "data", kNothing);
  table.notify("name", "data", kNothing);
  EXPECT_EQ(calls, 1);
}

TEST(ListenerTable, LetsAListenerRaiseAnotherEvent) {
  ListenerTable table;
  std::vector<std::string> events;
  table.add([&](const char* name, const char* data) {
    events.push_back(std::string(name) + '=' + data);
    if (events.size() == 1) table.notify("inner", "2", kNothing);
  });
  table.notify("outer", "1", kNothing);
  EXPECT_THAT(events, ElementsAre("outer=1", "inner=2"));
}

TEST(ListenerTable, EndsTheRoundWhenAListenerThrows) {
  ListenerTable table;
  std::vector<std::string> calls;
  const auto owned = std::make_shared<int>();
  table.add(noting(calls, "first"));
  table.add([](const char*, const char*) { throw std::runtime_error("enough"); });
  table.add([&calls, owned](const char*, const char*) { calls.push_back("third"); });
  EXPECT_THROW(table.notify("name", "data", [&] { calls.push_back("told"); }), std::runtime_error);
  EXPECT_THAT(calls, ElementsAre("first", "told"));
  EXPECT_EQ(owned.use_count(), 2) << "the copies of the round are still there";
}

TEST(ListenerTable, LetsPassWhatIsNoStandardException) {
  ListenerTable table;
  table.add([](const char*, const char*) { throw 42; });
  EXPECT_THROW(table.notify("name", "data", kNothing), int);
}

TEST(ListenerTable, TakesAnEmptyListenerAndThrowsWhenItIsItsTurn) {
  ListenerTable table;
  std::vector<std::string> calls;
  table.add(noting(calls, "first"));
  const uint64_t empty = table.add(Listener());
  table.add(noting(calls, "third"));
  EXPECT_THROW(table.notify("name", "data", kNothing), std::bad_function_call);
  EXPECT_THAT(calls, ElementsAre("first"));
  EXPECT_TRUE(table.remove(empty));
}

TEST(ListenerTable, BearsAnyMixOfThreads) {
  ListenerTable table;
  std::atomic<int> calls = 0;
  table.add([&](const char*, const char*) { ++calls; });
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 2; ++thread) {
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) table.notify("name", "data", kNothing);
    });
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) EXPECT_TRUE(table.remove(table.add([](const char*, const char*) {})));
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(calls, 1000);
}

// Each thread's own listener is there for what the thread itself raises, and is not once it is removed; it may
// be called by the rounds of other threads meanwhile. The one that stays misses nothing.
TEST(ListenerTable, ServesEightThreadsThatAddRaiseAndRemove) {
  constexpr int kRounds = 200;
  ListenerTable table;
  std::atomic<int> calls = 0;
  table.add([&](const char*, const char*) { ++calls; });
  std::vector<std::atomic<int>> own(8);
  std::atomic<size_t> arrived = 0;
  std::vector<std::jthread> threads;
  for (std::atomic<int>& count : own) {
    threads.emplace_back([&] {
      ++arrived;
      while (arrived < own.size()) std::this_thread::yield();
      for (int i = 0; i < kRounds; ++i) {
        const int before = count;
        const uint64_t id = table.add([&](const char*, const char*) { ++count; });
        table.notify("name", "data", kNothing);
        EXPECT_GT(count, before);
        EXPECT_TRUE(table.remove(id));
        EXPECT_FALSE(table.remove(id));
      }
    });
  }
  threads.clear();
  EXPECT_EQ(calls, 8 * kRounds);
  const std::vector<int> reached(own.begin(), own.end());
  table.notify("name", "data", kNothing);
  EXPECT_EQ(calls, 8 * kRounds + 1);
  EXPECT_TRUE(std::equal(own.begin(), own.end(), reached.begin()));
}

}  // namespace
}  // namespace zuvia
