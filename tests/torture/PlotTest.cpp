#include "torture/Plot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zuvia::test {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const Series kHandles = {"handles", "", 2, {{0, 100}, {5, 100}, {10, 100}}};
const Series kMemory = {"heap", "MiB", 0.5, {{0, 1}, {4, 2}, {6, 3}, {10, 5}}};

TEST(Plot, IsAPictureOfEachSeries) {
  EXPECT_THAT(plot("An hour", {kHandles, kMemory}, "minutes"),
              AllOf(StartsWith("<svg xmlns="), HasSubstr(">An hour</text>"), HasSubstr(">handles</text>"),
                    HasSubstr(">heap, MiB</text>"), HasSubstr(">minutes</text>"), EndsWith("</svg>\n")));
}

TEST(Plot, DrawsALevelLineLevel) {
  EXPECT_THAT(plot("t", {kHandles}, "minutes"),
              HasSubstr("<polyline class=\"series\" points=\"80,118.636 310,118.636 540,118.636 \"/>"));
}

TEST(Plot, SaysWhatIsFlat) {
  EXPECT_THAT(plot("t", {kHandles, kMemory}, "minutes"),
              AllOf(HasSubstr("growth over the second half: 0: flat (allowed: 2)"),
                    HasSubstr("growth over the second half: 2 MiB: NOT FLAT (allowed: 0.5 MiB)")));
}

TEST(Plot, EscapesTexts) {
  EXPECT_THAT(plot("a < b & c", {}, ""), HasSubstr("a &lt; b &amp; c"));
}

TEST(Plot, HasTicksAtRoundNumbers) {
  EXPECT_DOUBLE_EQ(tickDistance(60, 6), 10);
  EXPECT_DOUBLE_EQ(tickDistance(61, 6), 20);
  EXPECT_DOUBLE_EQ(tickDistance(0.03, 6), 0.005);
  EXPECT_DOUBLE_EQ(tickDistance(900, 5), 200);
}

TEST(Plot, WritesNumbersShort) {
  EXPECT_EQ(numberText(0), "0");
  EXPECT_EQ(numberText(-0.00001), "0");
  EXPECT_EQ(numberText(12.5), "12.5");
  EXPECT_EQ(numberText(1200), "1200");
  EXPECT_EQ(numberText(0.12345), "0.123");
}

}  // namespace
}  // namespace zuvia::test
