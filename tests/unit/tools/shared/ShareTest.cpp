#include "shared/Share.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "shared/CommandLine.h"

namespace zuvia::tools {
namespace {

constexpr int kUsers = 10'000;

int countIn(const Share& share) {
  int count = 0;
  for (int uid = 0; uid < kUsers; ++uid) count += share.includes(std::to_string(uid)) ? 1 : 0;
  return count;
}

std::string refusalOf(const std::string& text) {
  try {
    return "a share: " + Share::parse(text).text();
  } catch (const Failure& failure) {
    return failure.what();
  }
}

// What a real nginx answers for these ids, with split_clients on the header uid.
TEST(Share, HoldsWhomNginxChooses) {
  std::vector<int> members;
  for (int uid = 0; uid < 120; ++uid) {
    if (Share::parse("10").includes(std::to_string(uid))) members.push_back(uid);
  }
  EXPECT_THAT(members, testing::ElementsAre(8, 10, 15, 29, 33, 45, 54, 92, 97, 100, 113));
  EXPECT_EQ(countIn(Share::parse("10")), 993);
  EXPECT_EQ(countIn(Share::parse("12.34")), 1220);
  EXPECT_EQ(countIn(Share::parse("0.01")), 1);
  EXPECT_TRUE(Share::parse("0.01").includes(""));
  EXPECT_TRUE(Share::parse("10").includes("18446744073709551615"));
  EXPECT_TRUE(Share::parse("12.34").includes("ab"));
  EXPECT_FALSE(Share::parse("10").includes("ab"));
  EXPECT_TRUE(Share::parse("10").includes("abc"));
  EXPECT_FALSE(Share::parse("12.34").includes("\u6F22"));
}

TEST(Share, OnlyGainsUsersWhenItGrows) {
  std::vector<bool> before(kUsers, false);
  for (const char* percent : {"0", "0.5", "1", "10", "12.5", "50", "99.99", "100"}) {
    const Share share = Share::parse(percent);
    for (int uid = 0; uid < kUsers; ++uid) {
      const bool isIn = share.includes(std::to_string(uid));
      EXPECT_TRUE(isIn || !before[static_cast<std::size_t>(uid)]) << uid << " left at " << percent;
      before[static_cast<std::size_t>(uid)] = isIn;
    }
  }
}

TEST(Share, OfNobodyHoldsNobodyAndOfEverybodyEverybody) {
  EXPECT_EQ(countIn(Share::parse("0")), 0);
  EXPECT_FALSE(Share::parse("0").includes(""));
  EXPECT_EQ(countIn(Share::parse("100")), kUsers);
  EXPECT_EQ(countIn(Share()), kUsers);
  EXPECT_TRUE(Share().isEverybody());
  EXPECT_TRUE(Share::parse("100.0").isEverybody());
  EXPECT_FALSE(Share::parse("99.99").isEverybody());
  EXPECT_TRUE(Share::parse("0.00").isNobody());
  EXPECT_FALSE(Share::parse("0.01").isNobody());
}

TEST(Share, IsWrittenAsItIsRead) {
  for (const char* text : {"0", "0.01", "0.5", "7", "12.5", "33.33", "99.09", "100"}) {
    EXPECT_EQ(Share::parse(text).text(), text);
  }
  EXPECT_EQ(Share::parse("010.50").text(), "10.5");
  EXPECT_EQ(Share::ofPercent(33.33).percent(), 33.33);
}

TEST(Share, IsRefusedWithOneLine) {
  for (const char* text : {"", " ", "x", "10%", "10 ", " 10", "1e1", "+1", "0x1", "nan", "inf", "-1", "100.01", "101",
                           "1000", "0.001", ".5", "5."}) {
    EXPECT_EQ(refusalOf(text),
              "not a share of the users: \"" + std::string(text) + "\"; from 0 to 100, with at most two decimals");
  }
  for (const double percent : {-1.0, 100.01, 33.333, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_THROW(Share::ofPercent(percent), Failure) << percent;
  }
}

}  // namespace
}  // namespace zuvia::tools
