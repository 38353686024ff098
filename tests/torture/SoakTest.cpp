#include "torture/Soak.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace zuvia::test {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

TEST(SoakTest, LeavesNothingBehindOfUpdatesWithAServiceThatComesAndGoes) {
  std::ostringstream said;
  Soak soak(said, std::chrono::seconds(0));
  constexpr std::size_t kCycles = 60;
  soak.run([&] { return soak.cycles() < kCycles; });
  EXPECT_THAT(soak.violations(), IsEmpty()) << said.str();
  EXPECT_EQ(soak.updates(), 6u);
  EXPECT_EQ(soak.failures(), 12u);
  ASSERT_THAT(soak.series(), SizeIs(6));
  for (const Series& series : soak.series()) {
    EXPECT_TRUE(isFlat(series)) << series.name << " grows by " << growthOfSecondHalf(series);
  }
}

}  // namespace
}  // namespace zuvia::test
