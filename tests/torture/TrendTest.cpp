#include "torture/Trend.h"

#include <gtest/gtest.h>

namespace zuvia::test {
namespace {

Series seriesOf(std::vector<Point> points) {
  return {"handles", "", 1, std::move(points)};
}

TEST(Trend, IsTheGrowthOfTheSecondHalfAlone) {
  EXPECT_DOUBLE_EQ(growthOfSecondHalf(seriesOf({{0, 0}, {1, 50}, {2, 100}, {3, 100}, {4, 100}})), 0);
  EXPECT_DOUBLE_EQ(growthOfSecondHalf(seriesOf({{0, 0}, {1, 0}, {2, 10}, {3, 13}, {4, 16}})), 6);
  EXPECT_DOUBLE_EQ(growthOfSecondHalf(seriesOf({{0, 0}, {1, 0}, {2, 16}, {3, 13}, {4, 10}})), -6);
}

TEST(Trend, FollowsTheLineAndNotTheEnds) {
  EXPECT_NEAR(growthOfSecondHalf(seriesOf({{0, 5}, {1, 5}, {2, 5}, {3, 8}, {4, 5}})), 0, 1e-9);
}

TEST(Trend, IsFlatUpToTheAllowance) {
  EXPECT_TRUE(isFlat(seriesOf({{0, 0}, {2, 0}, {3, 0.5}, {4, 1}})));
  EXPECT_FALSE(isFlat(seriesOf({{0, 0}, {2, 0}, {3, 0.6}, {4, 1.2}})));
  EXPECT_TRUE(isFlat(seriesOf({{0, 0}, {2, 100}, {3, 50}, {4, 0}})));
}

TEST(Trend, IsNoneOfFewPoints) {
  EXPECT_EQ(growthOfSecondHalf(seriesOf({})), 0);
  EXPECT_EQ(growthOfSecondHalf(seriesOf({{0, 0}, {1, 9}})), 0);
  EXPECT_EQ(growthOfSecondHalf(seriesOf({{0, 0}, {1, 5}, {9, 9}})), 0);
}

}  // namespace
}  // namespace zuvia::test
