#include <hxutility/Zip.h>

#include <gtest/gtest.h>
#include <windows.h>
// After windows.h, on which it depends.
#include <psapi.h>

#include <algorithm>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "Archives.h"

namespace {

using hxutility::test::madeBySevenZip;
using HxUtility::zip::UnZip7zToMemory;
using Files = std::map<std::wstring, std::string>;

constexpr size_t kMiB = 1024 * 1024;
constexpr size_t kLimit = 512 * kMiB;

bool unpack(const std::string& archive, Files& files) {
  return UnZip7zToMemory(archive.data(), archive.size(), files);
}

size_t peakMemory() {
  PROCESS_MEMORY_COUNTERS counters{};
  counters.cb = sizeof(counters);
  EXPECT_NE(GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)), 0);
  return counters.PeakWorkingSetSize;
}

TEST(UnZip7zToMemory, ReplacesWhatTheMapHeld) {
  Files files{{L"old", "content"}};
  EXPECT_TRUE(unpack(madeBySevenZip("lzma2"), files));
  EXPECT_TRUE(files == hxutility::test::packedTree());
}

TEST(UnZip7zToMemory, LeavesTheMapEmptyOnFailure) {
  hxutility::test::HandMade archive({{u"a", "first"}, {u"b", "second"}, {u"b", "third"}});
  Files files{{L"old", "content"}};
  EXPECT_FALSE(unpack(archive.bytes(), files));
  EXPECT_TRUE(files.empty());
}

TEST(UnZip7zToMemory, RefusesNothingAtAll) {
  Files files{{L"old", "content"}};
  EXPECT_FALSE(UnZip7zToMemory(nullptr, 0, files));
  EXPECT_FALSE(UnZip7zToMemory(nullptr, 100, files));
  EXPECT_FALSE(UnZip7zToMemory("", 0, files));
  EXPECT_TRUE(files.empty());
}

TEST(UnZip7zToMemory, IsUsableFromSeveralThreadsAtOnce) {
  const std::string archive = madeBySevenZip("bcj2");
  const Files expected = hxutility::test::packedTree();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 10; ++round) {
        Files files;
        EXPECT_TRUE(unpack(archive, files));
        EXPECT_TRUE(files == expected);
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST(UnZip7zToMemory, UnpacksAsMuchAsTheLimit) {
  Files files;
  EXPECT_TRUE(unpack(madeBySevenZip("limit"), files));
  EXPECT_EQ(files.size(), 8U);
  EXPECT_TRUE(std::ranges::all_of(files, [](const auto& file) { return file.second.size() == kLimit / 8; }));
}

TEST(UnZip7zToMemory, StopsBeyondTheLimitWithoutNeedingMuchMore) {
  const std::string bomb = madeBySevenZip("beyond-limit");
  ASSERT_LT(bomb.size(), kMiB);
  Files files;
  EXPECT_FALSE(unpack(bomb, files));
  EXPECT_TRUE(files.empty());
  EXPECT_GT(peakMemory(), kLimit);  // or the measurement would prove nothing
  EXPECT_LT(peakMemory(), kLimit + kLimit / 4);
}

}  // namespace
