// The short form of `./zuvia torture`: hosts that are ended while they update, at calls that stand for all others and
// at some moments.

#include "torture/Torture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace zuvia::test {
namespace {

// `each` of a function's calls, evenly spread, the first and the last among them.
void addSome(const CallCounts& counts, const std::string& function, std::size_t each, std::vector<CallPoint>& points) {
  const std::size_t count = counts.at(function);
  each = std::min(each, count);
  for (std::size_t i = 0; i < each; ++i) {
    points.push_back({function, each == 1 ? count : 1 + i * (count - 1) / (each - 1)});
  }
}

class TortureTest : public testing::Test {
 protected:
  void expectNoViolations(std::size_t rounds) const {
    EXPECT_EQ(torture.tally().rounds(), rounds);
    EXPECT_EQ(torture.tally().violations(), 0u) << said.str();
  }

  void expectCutsIn(const std::vector<CutStage>& stages) const {
    for (const CutStage stage : stages) EXPECT_GE(torture.tally().cuts(stage), 1u) << nameOf(stage);
  }

  void expectLeft(const std::vector<Leftover>& leftovers) const {
    for (const Leftover leftover : leftovers) EXPECT_GE(torture.tally().left(leftover), 1u) << nameOf(leftover);
  }

  std::ostringstream said;
  Torture torture{Share(), said};
  const CallCounts counts = torture.countCalls();
  std::vector<CallPoint> points;
};

TEST_F(TortureTest, SurvivesEndsWhereDirectoriesAreMovedAndRemoved) {
  for (const char* function : {"MoveFileExW", "DeleteFileW", "RemoveDirectoryW"}) addSome(counts, function, 5, points);
  torture.atCalls(points);
  expectNoViolations(points.size());
  expectCutsIn({CutStage::Inform, CutStage::Publish, CutStage::Announce, CutStage::Removal});
  expectLeft({Leftover::TemporaryWithModule, Leftover::PartWithoutModule, Leftover::Package});
}

TEST_F(TortureTest, SurvivesEndsWhereFilesAreMade) {
  for (const char* function : {"CreateFileW", "_wfopen", "_write", "fclose", "SHCreateDirectoryExW"}) {
    addSome(counts, function, 3, points);
  }
  torture.atCallsInOneTree(points);
  expectNoViolations(points.size());
  expectCutsIn({CutStage::Download, CutStage::Unpack});
  expectLeft({Leftover::TemporaryWithoutModule, Leftover::Package});
}

TEST_F(TortureTest, SurvivesEndsWhereverSomethingIsLoggedOrLocked) {
  addSome(counts, "DoLog2", 17, points);
  for (const char* function : {"CreateMutexW", "ReleaseMutex"}) addSome(counts, function, 3, points);
  torture.atCallsInOneTree(points);
  expectNoViolations(points.size());
  expectCutsIn({CutStage::Load, CutStage::Inform, CutStage::Request, CutStage::Answer, CutStage::Unload,
                CutStage::SecondLoad, CutStage::Removal, CutStage::End});
}

TEST(TortureTestAtMoments, SurvivesEnds) {
  std::ostringstream said;
  Torture torture(Share(), said);
  torture.atMoments(10, 1, largeReleases(2 << 20, 20));
  EXPECT_EQ(torture.tally().rounds(), 10u);
  EXPECT_EQ(torture.tally().violations(), 0u) << said.str();
}

}  // namespace
}  // namespace zuvia::test
