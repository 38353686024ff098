#include "History.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Files.h"
#include "support/InstallTree.h"

namespace zuhost {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using zuvia::test::readFile;
using zuvia::test::writeFile;

class HistoryTest : public testing::Test {
 protected:
  const zuvia::test::InstallTree tree{L"history \u6587"};
  const std::wstring file = tree.appPath() + L"\\zuvia\\zuhost.history";
};

TEST_F(HistoryTest, IsKeptFromOneSessionToTheNext) {
  History first(file);
  EXPECT_THAT(first.lines(), IsEmpty());
  first.add("load");
  first.add("send echo \xE6\x96\x87");
  EXPECT_THAT(History(file).lines(), ElementsAre("load", "send echo \xE6\x96\x87"));
}

TEST_F(HistoryTest, LeavesOutWhatIsNotWorthOrNotMeantToBeKept) {
  History history(file);
  for (const char* line : {"load", "load", "", " send secret", "\tx", "unload", "load"}) history.add(line);
  EXPECT_THAT(history.lines(), ElementsAre("load", "unload", "load"));
  EXPECT_EQ(readFile(file), "load\nunload\nload\n");
}

TEST_F(HistoryTest, GrowsWithTheLinesOfSeveralSessions) {
  History first(file);
  History second(file);
  first.add("one");
  second.add("two");
  first.add("three");
  EXPECT_THAT(History(file).lines(), ElementsAre("one", "two", "three"));
}

TEST_F(HistoryTest, ForgetsTheOldestLinesWhenItIsReadAgain) {
  std::string lines;
  for (size_t i = 0; i < History::kMost + 5; ++i) lines += std::to_string(i) + "\n";
  writeFile(file, lines);
  const History history(file);
  EXPECT_EQ(history.lines().size(), History::kMost);
  EXPECT_EQ(history.lines().front(), "5");
  EXPECT_TRUE(readFile(file).starts_with("5\n6\n"));
  EXPECT_EQ(zuvia::test::listTree(tree.appPath()).size(), 2U);  // nothing beside it
}

TEST_F(HistoryTest, GoesOnWithoutAFile) {
  writeFile(tree.appPath() + L"\\zuvia", "a file where the directory should be");
  History history(file);
  history.add("load");
  EXPECT_THAT(history.lines(), ElementsAre("load"));
  History nowhere;
  nowhere.add("load");
  EXPECT_THAT(nowhere.lines(), ElementsAre("load"));
}

TEST(HistoryFile, LiesWithTheUsersOtherData) {
  EXPECT_TRUE(historyFile().native().ends_with(L"\\zuvia\\zuhost.history"));
}

}  // namespace
}  // namespace zuhost
