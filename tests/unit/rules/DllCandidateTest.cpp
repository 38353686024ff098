#include "common/DllCandidate.h"

#include <gtest/gtest.h>

namespace zuvia {
namespace {

DllCandidate version(uint32_t major, uint32_t minor, uint32_t build, uint32_t revision) {
  return {L"", major, minor, build, revision};
}

TEST(DllCandidate, TheFirstDifferingNumberDecidesTheOrder) {
  EXPECT_TRUE(isOlder(version(2, 0, 0, 45), version(2, 0, 1, 0)));
  EXPECT_FALSE(isOlder(version(2, 0, 1, 0), version(2, 0, 0, 45)));
  EXPECT_TRUE(isOlder(version(1, 65535, 65535, 65535), version(2, 0, 0, 0)));
  EXPECT_TRUE(isOlder(version(2, 1, 65535, 65535), version(2, 2, 0, 0)));
  EXPECT_TRUE(isOlder(version(2, 0, 0, 45), version(2, 0, 0, 46)));
}

TEST(DllCandidate, NumbersAreComparedNotTexts) {
  EXPECT_TRUE(isOlder(version(9, 9, 9, 9), version(10, 0, 0, 0)));
  EXPECT_FALSE(isOlder(version(10, 0, 0, 0), version(9, 9, 9, 9)));
}

TEST(DllCandidate, EqualVersionsAreNeitherOlder) {
  EXPECT_FALSE(isOlder(version(2, 0, 0, 45), version(2, 0, 0, 45)));
  EXPECT_TRUE(isSameVersion(version(2, 0, 0, 45), version(2, 0, 0, 45)));
}

TEST(DllCandidate, EveryNumberCountsForEquality) {
  EXPECT_FALSE(isSameVersion(version(2, 0, 0, 45), version(3, 0, 0, 45)));
  EXPECT_FALSE(isSameVersion(version(2, 0, 0, 45), version(2, 1, 0, 45)));
  EXPECT_FALSE(isSameVersion(version(2, 0, 0, 45), version(2, 0, 1, 45)));
  EXPECT_FALSE(isSameVersion(version(2, 0, 0, 45), version(2, 0, 0, 46)));
}

TEST(DllCandidate, ThePathDoesNotMatterForTheOrder) {
  const DllCandidate first{L"C:\\a\\zuimpl.dll", 2, 0, 0, 45};
  const DllCandidate second{L"C:\\b\\zuimpl.dll", 2, 0, 0, 45};
  EXPECT_TRUE(isSameVersion(first, second));
  EXPECT_FALSE(isOlder(first, second));
}

TEST(DllCandidate, TextsAreUnpaddedDecimalNumbers) {
  EXPECT_EQ(candidateVersionString(version(2, 0, 0, 45)), "2.0.0.45");
  EXPECT_EQ(candidateShortVersionString(version(2, 0, 0, 45)), "2.0.0");
  EXPECT_EQ(candidateVersionString(version(65535, 65535, 65535, 65535)), "65535.65535.65535.65535");
  EXPECT_EQ(candidateVersionString({}), "0.0.0.0");
}

}  // namespace
}  // namespace zuvia
