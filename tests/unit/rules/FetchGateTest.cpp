#include "common/config/FetchGate.h"

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace zuvia {
namespace {

constexpr uint32_t kNow = 1'700'000'000;

TEST(FetchGate, LetsTheFirstPass) {
  FetchGate gate;
  EXPECT_TRUE(gate.tryPass(kNow));
}

TEST(FetchGate, LetsNonePassWithin60Seconds) {
  FetchGate gate;
  gate.tryPass(kNow);
  EXPECT_FALSE(gate.tryPass(kNow));
  EXPECT_FALSE(gate.tryPass(kNow + 59));
  EXPECT_FALSE(gate.tryPass(kNow + 60));
}

TEST(FetchGate, LetsTheNextPassAfter61Seconds) {
  FetchGate gate;
  gate.tryPass(kNow);
  EXPECT_TRUE(gate.tryPass(kNow + 61));
}

TEST(FetchGate, CountsFromTheLastThatPassed) {
  FetchGate gate;
  gate.tryPass(kNow);
  gate.tryPass(kNow + 60);  // refused, so it does not count
  EXPECT_TRUE(gate.tryPass(kNow + 61));
  EXPECT_FALSE(gate.tryPass(kNow + 121));
  EXPECT_TRUE(gate.tryPass(kNow + 122));
}

TEST(FetchGate, CountsFromTheBeginningOf1970AtFirst) {
  FetchGate gate;
  EXPECT_FALSE(gate.tryPass(60));
  EXPECT_TRUE(gate.tryPass(61));
}

TEST(FetchGate, GoesOnWhenTheSecondsStartAgain) {
  FetchGate gate;
  EXPECT_TRUE(gate.tryPass(UINT32_MAX - 10));
  EXPECT_FALSE(gate.tryPass(49));
  EXPECT_TRUE(gate.tryPass(50));
}

// A caller that looked at the clock, and was then overtaken by one that looked at it a second later.
TEST(FetchGate, LetsNonePassThatWasOvertaken) {
  FetchGate gate;
  EXPECT_TRUE(gate.tryPass(kNow));
  EXPECT_FALSE(gate.tryPass(kNow - 1));
  EXPECT_FALSE(gate.tryPass(kNow - 60));
}

TEST(FetchGate, GoesOnWhenTheClockIsPutBack) {
  FetchGate gate;
  gate.tryPass(kNow);
  EXPECT_TRUE(gate.tryPass(kNow - 61));
  EXPECT_FALSE(gate.tryPass(kNow - 1));
}

// How many threads pass in rounds that are secondsApart, one thread for each of the seconds that it adds to the
// round's. They meet by spinning: whatever sleeps until it is woken misses a wake-up now and then under Wine.
uint32_t passesOf(uint32_t rounds, uint32_t secondsApart, const std::vector<uint32_t>& added) {
  FetchGate gate;
  std::atomic<uint32_t> passed = 0;
  std::atomic<size_t> arrived = 0;
  std::vector<std::jthread> threads;
  for (const uint32_t seconds : added) {
    threads.emplace_back([&, seconds] {
      for (uint32_t round = 1; round <= rounds; ++round) {
        ++arrived;
        for (int spins = 0; arrived < round * added.size(); ++spins) {
          if (spins > 100) std::this_thread::yield();
        }
        passed += gate.tryPass(round * secondsApart + seconds) ? 1 : 0;
      }
    });
  }
  threads.clear();
  return passed;
}

// Of threads that read the same last time, only the one that replaces it passes.
TEST(FetchGate, LetsOneOfEightThreadsPass) {
  EXPECT_EQ(passesOf(1000, 61, {0, 0, 0, 0, 0, 0, 0, 0}), 1000U);
}

// The second changes between one thread's look at the clock and another's.
TEST(FetchGate, LetsOneOfEightThreadsPassAtTheTurnOfASecond) {
  EXPECT_EQ(passesOf(1000, 62, {0, 1, 0, 1, 0, 1, 0, 1}), 1000U);
}

}  // namespace
}  // namespace zuvia
