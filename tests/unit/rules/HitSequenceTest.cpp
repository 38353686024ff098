#include "updater/HitSequence.h"

#include <set>

#include <gtest/gtest.h>

namespace zuvia {
namespace {

TEST(HitSequence, BlanksAreTrimmedFromBothEnds) {
  EXPECT_EQ(trimHitSequence("  abc \r"), "abc");
  EXPECT_EQ(trimHitSequence("\t\r\n a b \n"), "a b");
  EXPECT_EQ(trimHitSequence("abc"), "abc");
  EXPECT_EQ(trimHitSequence("\vabc\f"), "\vabc\f");
}

TEST(HitSequence, NothingButBlanksLeavesNothing) {
  EXPECT_EQ(trimHitSequence(""), "");
  EXPECT_EQ(trimHitSequence(" \t\r\n"), "");
}

TEST(HitSequence, ANewIdHas16UpperCaseHexadecimalDigits) {
  const std::string id = makeHitSequence();
  EXPECT_EQ(id.size(), 16U);
  EXPECT_EQ(id.find_first_not_of("0123456789ABCDEF"), std::string::npos) << id;
  EXPECT_GT(std::set<char>(id.begin(), id.end()).size(), 3U) << id;
}

}  // namespace
}  // namespace zuvia
