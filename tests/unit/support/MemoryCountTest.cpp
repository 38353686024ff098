#include "support/MemoryCount.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace zuvia::test {
namespace {

using testing::AllOf;
using testing::Ge;
using testing::Lt;

TEST(MemoryCount, TellsBlocksThatWereTakenAndGivenBack) {
  countMemory();
  const MemoryCount before = countMemory();
  std::vector<std::unique_ptr<char[]>> blocks;
  blocks.reserve(100);
  for (int i = 0; i < 100; ++i) blocks.push_back(std::make_unique<char[]>(1000));
  const MemoryCount during = countMemory();
  EXPECT_THAT(during.heapBlocks - before.heapBlocks, AllOf(Ge(100u), Lt(110u)));
  EXPECT_THAT(during.heapBytes - before.heapBytes, AllOf(Ge(100000u), Lt(110000u)));
  blocks.clear();
  EXPECT_LT(countMemory().heapBlocks, before.heapBlocks + 10);
}

TEST(MemoryCount, SeesEveryHeap) {
  const HANDLE heap = HeapCreate(0, 0, 0);
  const MemoryCount before = countMemory();
  EXPECT_NE(HeapAlloc(heap, 0, 100), nullptr);
  EXPECT_EQ(countMemory().heapBlocks, before.heapBlocks + 1);
  HeapDestroy(heap);
}

TEST(MemoryCount, TellsMemoryOutsideOfHeaps) {
  constexpr std::size_t kSize = 32 << 20;
  const MemoryCount before = countMemory();
  auto* const memory = static_cast<char*>(VirtualAlloc(nullptr, kSize, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
  ASSERT_NE(memory, nullptr);
  std::fill_n(memory, kSize, 'x');
  const MemoryCount during = countMemory();
  VirtualFree(memory, 0, MEM_RELEASE);
  EXPECT_GE(during.privateBytes, before.privateBytes + kSize * 3 / 4);
  EXPECT_GE(during.workingSet, before.workingSet + kSize * 3 / 4);
  EXPECT_LT(during.heapBytes, before.heapBytes + kSize / 4);
}

}  // namespace
}  // namespace zuvia::test
