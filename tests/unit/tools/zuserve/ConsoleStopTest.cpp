#include "zuserve/ConsoleStop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "ConsoleEvent.h"

namespace zuvia::zuserve {
namespace {

void raise(unsigned long event) {
  EXPECT_EQ(test::raiseConsoleEvent(GetCurrentProcess(), event), WAIT_OBJECT_0);
}

TEST(ConsoleStop, CallsTheFunctionOnCtrlCAndCtrlBreak) {
  std::atomic<int> calls = 0;
  const ConsoleStop stop([&] { ++calls; });
  raise(CTRL_C_EVENT);
  EXPECT_EQ(calls, 1);
  raise(CTRL_BREAK_EVENT);
  EXPECT_EQ(calls, 2);
}

TEST(ConsoleStop, GivesTheProcessTimeWhenTheConsoleCloses) {
  std::atomic<int> calls = 0;
  const ConsoleStop stop([&] { ++calls; });
  EXPECT_EQ(test::raiseConsoleEvent(GetCurrentProcess(), CTRL_CLOSE_EVENT, 300), static_cast<DWORD>(WAIT_TIMEOUT))
      << "Windows ends the process when the handler returns";
  EXPECT_EQ(calls, 1);
}

TEST(ConsoleStop, CallsNothingAfterItsEnd) {
  int calls = 0;
  {
    const ConsoleStop stop([&] { ++calls; });
  }
  raise(CTRL_C_EVENT);
  EXPECT_EQ(calls, 0);
}

}  // namespace
}  // namespace zuvia::zuserve
