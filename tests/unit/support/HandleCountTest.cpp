#include "support/HandleCount.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <thread>

namespace zuvia::test {
namespace {

using testing::HasSubstr;

std::unique_ptr<HandleCheck> check;

TEST(HandleCount, CountsByType) {
  const HandleCount before = countHandles();
  HANDLE mutex = CreateMutexW(nullptr, FALSE, nullptr);
  const HandleCount after = countHandles();
  EXPECT_EQ(after.at("Mutant"), (before.contains("Mutant") ? before.at("Mutant") : 0) + 1);
  CloseHandle(mutex);
  EXPECT_EQ(describeGrowth(before, countHandles()), "");
}

TEST(HandleCount, DescribesGrowthOnly) {
  EXPECT_EQ(describeGrowth({{"File", 2}, {"Event", 5}}, {{"File", 3}, {"Event", 4}, {"Key", 1}}),
            "File: 2 before, 3 after\nKey: 0 before, 1 after\n");
}

TEST(HandleCheck, CatchesALeakedHandle) {
  check = std::make_unique<HandleCheck>();
  HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  EXPECT_NONFATAL_FAILURE(check.reset(), "Event: ");
  CloseHandle(event);
}

TEST(HandleCheck, CatchesALeakedThread) {
  check = std::make_unique<HandleCheck>();
  HANDLE thread = CreateThread(
      nullptr, 0,
      [](void*) -> DWORD {
        Sleep(5000);
        return 0;
      },
      nullptr, 0, nullptr);
  CloseHandle(thread);
  EXPECT_NONFATAL_FAILURE(check.reset(), "running threads: ");
}

TEST(HandleCheck, AcceptsWhatWasClosed) {
  const HandleCheck quiet;
  CloseHandle(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  std::thread([] {}).join();
}

TEST(HandleCheck, WaitsForWhatEndsByItself) {
  const HandleCheck quiet;
  std::thread([] { Sleep(300); }).detach();
}

}  // namespace
}  // namespace zuvia::test
