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

// Of threads that read the same last time, only the one that replaces it passes. They meet by spinning: whatever
// sleeps until it is woken misses a wake-up now and then under Wine.
TEST(FetchGate, LetsOneOfSeveralThreadsPass) {
  constexpr uint32_t kThreads = 4;
  constexpr uint32_t kRounds = 3000;
  FetchGate gate;
  std::atomic<uint32_t> passed = 0;
  std::atomic<uint32_t> arrived = 0;
  std::vector<std::jthread> threads;
  for (uint32_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (uint32_t round = 1; round <= kRounds; ++round) {
        ++arrived;
        while (arrived < round * kThreads) {
          std::this_thread::yield();
        }
        passed += gate.tryPass(round * 61) ? 1 : 0;
      }
    });
  }
  threads.clear();
  EXPECT_EQ(passed, kRounds);
}

}  // namespace
}  // namespace zuvia
