#include "support/HeapCount.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>

namespace zuvia::test {
namespace {

TEST(HeapCount, SeesEachBlockOfTheRunTimeLibraryAndItsEnd) {
  const HeapCount before = countHeaps();
  void* volatile one = std::malloc(1000);  // or the compiler leaves both out
  void* volatile other = std::malloc(5000);
  const HeapCount between = countHeaps();
  std::free(one);
  std::free(other);
  const HeapCount after = countHeaps();
  EXPECT_EQ(between.blocks, before.blocks + 2);
  EXPECT_GE(between.bytes, before.bytes + 6000);
  EXPECT_EQ(after.blocks, before.blocks);
  EXPECT_EQ(after.bytes, before.bytes);
}

TEST(HeapCount, SeesEveryHeap) {
  const HANDLE heap = HeapCreate(0, 0, 0);
  const HeapCount before = countHeaps();
  EXPECT_NE(HeapAlloc(heap, 0, 100), nullptr);
  EXPECT_EQ(countHeaps().blocks, before.blocks + 1);
  HeapDestroy(heap);
}

}  // namespace
}  // namespace zuvia::test
