#include "platform/SystemClock.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>

#include "support/ImportHook.h"

namespace zuvia::test {
namespace {

int64_t ticksAt(uint64_t fileTime) {
  ImportHook<decltype(GetSystemTimeAsFileTime)> hook(GetModuleHandleW(nullptr), "GetSystemTimeAsFileTime",
                                                     [=](auto*, FILETIME* time) -> void {
                                                       time->dwLowDateTime = static_cast<DWORD>(fileTime);
                                                       time->dwHighDateTime = static_cast<DWORD>(fileTime >> 32);
                                                     });
  return systemTicks();
}

TEST(SystemTicks, CountFrom1970) {
  EXPECT_EQ(ticksAt(116'444'736'000'000'000), 0);
  EXPECT_EQ(ticksAt(116'444'736'000'000'000 + 0x1'8000'0001), 0x1'8000'0001);
  EXPECT_EQ(ticksAt(116'444'735'999'999'999), -1);
}

TEST(SystemTicks, AreThoseOfTheSystemClock) {
  using namespace std::chrono;
  const int64_t before = duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
  const int64_t seconds = systemTicks() / kTicksPerSecond;
  EXPECT_GE(seconds, before - 1);
  EXPECT_LE(seconds, before + 60);
}

TEST(SystemTicks, HaveTheirUnits) {
  EXPECT_EQ(kTicksPerSecond, 1000 * kTicksPerMillisecond);
  EXPECT_EQ(ticksAt(116'444'736'000'000'000 + 36'000'000'000), 3600 * kTicksPerSecond);
}

}  // namespace
}  // namespace zuvia::test
