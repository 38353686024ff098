// Hosts that remove old versions while others use them.

#include <string>

#include "integration/crowds/CrowdTest.h"
#include "support/Files.h"
#include "support/SecondProcess.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;

constexpr const wchar_t* kTold = L"onNotifyEvent cmd: pluginUpgradeEvent, data: 2.0.0.47";
constexpr const wchar_t* kCleanUpLock = L"Local\\ZuviaPluginCleanup";

class CleanUpTest : public CrowdTest {
 protected:
  SecondProcess second;
};

TEST_F(CleanUpTest, LeavesWhatAnotherHasOpenToALaterOne) {
  second.holdFile(module(L"2.0.0.44"), FileShare::Read);  // as Windows does for whoever has it loaded
  add(2);
  crowd.load();
  crowd.informAll();
  ASSERT_EQ(crowd.settle(), "");
  EXPECT_EQ(crowd.count(L"Skip in-use or inaccessible version: " + module(L"2.0.0.44")), 2u);
  expectAfterwards({L"2.0.0.44", L"2.0.0.45", L"2.0.0.47"});

  second.releaseFiles();
  EXPECT_THAT(crowd.load(), ElementsAre(L"2.0.0.47"));
  crowd.informAll();
  ASSERT_EQ(crowd.settle(), "");
  EXPECT_EQ(crowd.count(L"Try delete unused plugin: " + directory(L"2.0.0.44")), 1u);
  EXPECT_EQ(crowd.count(L"Try delete unused plugin: " + directory(L"2.0.0.45")), 1u);
  expectAfterwards({L"2.0.0.47"});
}

TEST_F(CleanUpTest, OfOneLetsAnotherLoad) {
  add(2);
  crowd[0].load();
  crowd[0].stopAt(L"Try delete unused plugin: " + directory(L"2.0.0.44"));
  crowd.inform(0);
  ASSERT_TRUE(crowd[0].waitForMessage(L"Try delete unused plugin: "));
  EXPECT_EQ(crowd[1].load(), "2.0.0.45");
  crowd.inform(1);
  EXPECT_EQ(second.tryMutex(kCleanUpLock), MutexState::Taken);
  EXPECT_FALSE(crowd[1].waitForMessage(L"DoFetchJob ", 300)) << "it waits for its turn";
  crowd[0].resume();
  ASSERT_EQ(crowd.settle(), "");
  EXPECT_EQ(crowd.count(L"Skip in-use or inaccessible version: " + module(L"2.0.0.44")), 1u);
  expectAfterwards({L"2.0.0.45", L"2.0.0.47"});
}

// The module is looked at, and then removed: who loads it in between keeps it.
TEST_F(CleanUpTest, RemovesNothingThatAnotherLoadsMeanwhile) {
  const std::wstring newest = directory(L"2.0.0.50");
  tree.addVersion(L"2.0.0.50", moduleFile(L"needs-companion"));
  add(2);
  EXPECT_EQ(crowd[0].load(), "2.0.0.45");
  copyFile(companionFile(), newest + L"\\zucompanion.dll");
  const TreeListing files = listTree(newest);
  invariants->expectVersion(L"2.0.0.50", files);

  crowd[0].stopAt(L"Try delete unused plugin: " + newest);
  crowd.inform(0);
  ASSERT_TRUE(crowd[0].waitForMessage(L"Try delete unused plugin: " + newest));
  EXPECT_EQ(crowd[1].load(), "2.0.0.50");
  crowd[0].resume();
  ASSERT_TRUE(crowd[0].waitForMessage(kTold));
  EXPECT_THAT(
      updateLines(crowd[0].messages(), service.offer, tree),
      ElementsAre(
          L"Load plugin failed, path: " + newest + L"\\zuimpl.dll, version: 2.0.0.50, error: 126",
          L"Delete file fail! error: 5, path: " + newest + L"\\zucompanion.dll",
          L"Delete file fail! error: 5, path: " + newest + L"\\zuimpl.dll",
          L"Remove directory fail! error: 145, path: " + newest, L"Directory not exist: " + directory(L"2.0.0.47"),
          L"Try download plugin ver: 2.0.0.47, url:  https://config.zuvia.example/zuimpl-2.0.0.47.7z",
          L"Download success ver:  2.0.0.47", L"Unzip file success path: " + tree.root() + L"\\.update-2.0.0.47",
          L"Try published download plugin : false", L"MoveFileExW  published: true, dest: " + directory(L"2.0.0.47"),
          L"onUpdateSuccess newVer: 2.0.0.47", kTold));
  EXPECT_EQ(describeChanges(files, listTree(newest)), "");
  crowd.inform(1);
  ASSERT_TRUE(crowd[1].waitForMessage(L"No needed to upgrade for version: 2.0.0.47, local ver is newest!"));
  expectAfterwards({L"2.0.0.45", L"2.0.0.47", L"2.0.0.50"});
}

}  // namespace
}  // namespace zuvia::test
