#include "Completion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Text.h"
#include "support/Files.h"
#include "support/InstallTree.h"

namespace zuhost {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

std::vector<std::string> names(const std::string& directory) {
  if (directory == "C:\\") return {"Program Files\\", "pagefile.sys", "Windows\\"};
  if (directory == "C:\\Program Files\\") return {"host.exe"};
  if (directory.empty()) return {"here.txt"};
  return {};
}

Completion completed(const char* line) {
  return completionOf(line, {"greeting"}, &names);
}

TEST(CompletionOf, KnowsTheCommands) {
  EXPECT_THAT(completed("lo").words, ElementsAre("load", "loaded"));
  EXPECT_THAT(completed("").words, Contains("quit"));
  EXPECT_THAT(completed("bogus").words, IsEmpty());
  EXPECT_EQ(completed("  st").begin, 2U);
}

TEST(CompletionOf, KnowsTheCommandsToAskAbout) {
  const Completion completion = completed("help unl");
  EXPECT_THAT(completion.words, ElementsAre("unlisten", "unload"));
  EXPECT_EQ(completion.begin, 5U);
  EXPECT_TRUE(completion.isRest);
}

TEST(CompletionOf, KnowsEventsAlsoThoseThatCame) {
  EXPECT_THAT(completed("wait ").words,
              ElementsAre("greeting", "pluginLoadedDoneEvent", "pluginLoadedEvent", "pluginUpgradeEvent"));
  EXPECT_FALSE(completed("wait ").isRest);
  EXPECT_THAT(completed("wait greeting ").words, IsEmpty());
}

// On the terminal they would be commands for it; and nobody can type them.
TEST(CompletionOf, LeavesOutEventsWithControlCharacters) {
  const std::set<std::string> events = {"plain", "p\x1B[2J", "p\n", "p\x7F"};
  EXPECT_THAT(completionOf("wait pl", events, &names).words,
              ElementsAre("plain", "pluginLoadedDoneEvent", "pluginLoadedEvent", "pluginUpgradeEvent"));
  EXPECT_THAT(completionOf("expect EVENT p", events, &names).words, testing::SizeIs(4));
}

TEST(CompletionOf, KnowsIdentifiersAndThePluginsOwnCommands) {
  EXPECT_THAT(completed("query IID_IPluginL").words, ElementsAre("IID_IPluginLoader"));
  EXPECT_TRUE(completed("query ").isRest);
  EXPECT_THAT(completed("send ").words, ElementsAre("getVersion", "isLoaded", "setHostInfo"));
  EXPECT_FALSE(completed("send ").isRest);
  EXPECT_THAT(completed("send isLoaded ").words, IsEmpty());
}

TEST(CompletionOf, KnowsWhatCanBeExpected) {
  EXPECT_THAT(completed("expect ").words, ElementsAre("--within", "EVENT", "LOG", "RESULT"));
  EXPECT_THAT(completed("expect --within 5 E").words, ElementsAre("EVENT"));
  EXPECT_THAT(completed("expect --within 5 EVENT g").words, ElementsAre("greeting"));
  EXPECT_TRUE(completed("expect EVENT g").isRest);
  EXPECT_THAT(completed("expect RESULT g").words, IsEmpty());
}

TEST(CompletionOf, WalksThroughDirectoriesInAnyLetterCase) {
  const Completion completion = completed("load C:\\p");
  EXPECT_THAT(completion.words, ElementsAre("Program Files\\", "pagefile.sys"));
  EXPECT_EQ(completion.begin, 8U);
  EXPECT_TRUE(completion.isRest);
  EXPECT_THAT(completed("load C:\\Program Files\\").words, ElementsAre("host.exe"));
  EXPECT_THAT(completed("status he").words, ElementsAre("here.txt"));
  EXPECT_THAT(completed("load D:\\").words, IsEmpty());
}

TEST(CompletionOf, BeginsAPathBehindTheBlanks) {
  for (const char* line : {"load ", "status ", "  load  ", "load\t"}) {
    EXPECT_THAT(completed(line).words, ElementsAre("here.txt")) << line;
    EXPECT_EQ(completed(line).begin, std::string_view(line).size());
  }
}

TEST(NamesInDirectory, TellDirectoriesFromFiles) {
  EXPECT_THAT(namesInDirectory("Z:\\no such directory\\"), IsEmpty());
  const zuvia::test::InstallTree tree;
  zuvia::test::writeFile(tree.root() + L"\\\u6587.txt", "");
  EXPECT_THAT(namesInDirectory(utf8Of(tree.base())), UnorderedElementsAre("root\\", "app\\"));
  EXPECT_THAT(namesInDirectory(utf8Of(tree.root())), ElementsAre("\xE6\x96\x87.txt"));
}

TEST(CommonBeginning, EndsWhereTheWordsDiffer) {
  EXPECT_EQ(commonBeginning({"load", "loaded"}), "load");
  EXPECT_EQ(commonBeginning({"a\xE6\x96\x87", "a\xE6\x96\x88"}), "a");
  EXPECT_EQ(commonBeginning({}), "");
}

}  // namespace
}  // namespace zuhost
