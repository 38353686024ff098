#include "support/Clock.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>

namespace zuvia::test {
namespace {

using namespace std::chrono_literals;

// Not inlined: within one function the compiler reads the entry once.
std::uint64_t (*const volatile systemTime)() = [] {
  FILETIME time{};
  GetSystemTimeAsFileTime(&time);
  return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
};

TEST(Clock, StandsStillUntilItIsMoved) {
  const std::uint64_t before = systemTime();
  {
    Clock clock(GetModuleHandleW(nullptr));
    const std::uint64_t begin = systemTime();
    EXPECT_GE(begin, before);
    EXPECT_LT(begin - before, 50'000'000u);
    Sleep(20);
    EXPECT_EQ(systemTime(), begin);
    clock.advance(61s);
    EXPECT_EQ(systemTime(), begin + 610'000'000u);
    clock.advance(-1ms);
    EXPECT_EQ(systemTime(), begin + 609'990'000u);
    clock.set(Clock::Ticks(0x1234567890));
    EXPECT_EQ(systemTime(), 0x1234567890u);
  }
  EXPECT_GE(systemTime(), before);
}

}  // namespace
}  // namespace zuvia::test
