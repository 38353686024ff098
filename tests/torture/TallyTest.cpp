#include "torture/Tally.h"

#include <gtest/gtest.h>

#include <sstream>

namespace zuvia::test {
namespace {

Life endedAt(CutStage stage) {
  Life life;
  life.stage = stage;
  return life;
}

TEST(Tally, CountsWhereHostsEndedAndWhatIsNew) {
  Tally tally;
  const Leftovers old = {{L"root\\.update-1", Leftover::TemporaryWithModule}};
  Leftovers more = old;
  more[L"app\\one.zip"] = Leftover::Package;
  tally.add(endedAt(CutStage::Unpack), old, more);
  tally.add(endedAt(CutStage::Unpack), more, more);
  tally.add(endedAt(CutStage::None), {}, {});
  tally.addViolation();
  EXPECT_EQ(tally.rounds(), 3u);
  EXPECT_EQ(tally.violations(), 1u);
  EXPECT_EQ(tally.cuts(CutStage::Unpack), 2u);
  EXPECT_EQ(tally.left(Leftover::Package), 1u);
  EXPECT_EQ(tally.left(Leftover::TemporaryWithModule), 0u);
  std::ostringstream text;
  tally.write(text);
  EXPECT_EQ(text.str(), "cuts none 1\ncuts unpack 2\nleft package 1\nrounds all 3\nviolations all 1\n");
}

TEST(Tally, BeginsWithNothing) {
  std::ostringstream text;
  Tally().write(text);
  EXPECT_EQ(text.str(), "rounds all 0\nviolations all 0\n");
}

}  // namespace
}  // namespace zuvia::test
