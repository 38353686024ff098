// Several processes that host plugins of one installation.

#include <string>

#include "integration/PluginTest.h"
#include "support/ChildProcess.h"
#include "support/Digest.h"
#include "support/Files.h"
#include "support/SecondProcess.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr const wchar_t* kVersionLock = L"Local\\ZuviaPluginUpdate-2.0.0.47";
constexpr const wchar_t* kTransferLock = L"Local\\ZuviaPluginCurlGlobal";
constexpr const wchar_t* kCleanUpLock = L"Local\\ZuviaPluginCleanup";

class TwoHostsTest : public PluginTest {
 protected:
  // Another process with the plugin of this tree.
  class Host {
   public:
    explicit Host(const InstallTree& tree)
        : process_(programDirectory() + L"\\zuhost.exe", {L"--json", L"--plugin", tree.pluginPath()}) {}

    // Sends a command, and returns its answer.
    std::string ask(const std::string& command, const std::string& answer) {
      EXPECT_TRUE(process_.writeLine(command));
      return process_.readUntil([&](const std::string& line) { return line.starts_with("{\"" + answer + '"'); }, 20000)
          .value_or("no answer");
    }

   private:
    ChildProcess process_;
  };

  // Loads and has the version 2.0.0.47 offered.
  void beginUpdate() {
    serve(makeOffer("2.0.0.47"));
    load();
    send("setHostInfo", hostInformation());
  }

  SecondProcess second;
};

TEST_F(TwoHostsTest, RunTheirVersionWhileOneUpdatesAndTheNextTakesTheNewOne) {
  addVersion(L"2.0.0.45");
  Host other(tree);
  EXPECT_EQ(other.ask("load", "done"), R"({"done":"load"})");
  EXPECT_EQ(other.ask("version", "version"), R"({"version":"2.0.0.45"})");
  second.holdFile(modulePath(L"2.0.0.45"), FileShare::Read);  // as Windows does for whoever has a module loaded

  beginUpdate();
  ASSERT_NE(waitForEvent("pluginUpgradeEvent=2.0.0.47"), 0u);
  EXPECT_EQ(other.ask("version", "version"), R"({"version":"2.0.0.45"})");
  EXPECT_EQ(other.ask("send echo still here", "result"), R"({"result":"still here"})");

  // The next load here takes the new version and leaves the old one to the other.
  entry().onUnload();
  log.clear();
  entry().onLoaded(nullptr);
  server.serve("POST", "/configs/pc/post", Answer::respond(200, answerWith("{}")));
  send("setHostInfo", hostInformation());
  EXPECT_THAT(log.messages(),
              Contains(L"Load plugin success, path: " + modulePath(L"2.0.0.47") + L", version: 2.0.0.47"));
  EXPECT_THAT(log.messages(), Contains(L"Skip in-use or inaccessible version: " + modulePath(L"2.0.0.45")));
  EXPECT_TRUE(fileExists(modulePath(L"2.0.0.45")));

  Host next(tree);
  EXPECT_EQ(next.ask("load", "done"), R"({"done":"load"})");
  EXPECT_EQ(next.ask("version", "version"), R"({"version":"2.0.0.47"})");
}

TEST_F(TwoHostsTest, PublishAVersionOnce) {
  ASSERT_EQ(second.lockMutex(kVersionLock), MutexState::Free);
  beginUpdate();
  ASSERT_TRUE(log.waitFor(L"Download success ver:  2.0.0.47"));
  // The other is done first.
  addVersion(L"2.0.0.47");
  const TreeListing before = tree.list();
  second.releaseMutex(kVersionLock);
  EXPECT_NE(waitForEvent("pluginUpgradeEvent=2.0.0.47"), 0u);
  EXPECT_THAT(log.messages(), Contains(L"Try published download plugin : true"));
  entry().onUnload();
  EXPECT_EQ(describeChanges(before, tree.list()), "");
}

TEST_F(TwoHostsTest, TakeOverFromOneThatDied) {
  ASSERT_EQ(second.lockMutex(kVersionLock), MutexState::Free);
  ASSERT_EQ(second.lockMutex(kTransferLock), MutexState::Free);
  ASSERT_EQ(second.lockMutex(kCleanUpLock), MutexState::Free);
  SecondProcess witness;
  EXPECT_EQ(witness.tryMutex(kTransferLock), MutexState::Taken);
  second.die();
  beginUpdate();
  EXPECT_NE(waitForEvent("pluginUpgradeEvent=2.0.0.47"), 0u);
}

TEST_F(TwoHostsTest, TransferOneAfterAnother) {
  ASSERT_EQ(second.lockMutex(kTransferLock), MutexState::Free);
  beginUpdate();
  Sleep(300);
  EXPECT_EQ(server.connections(), 0u);
  second.releaseMutex(kTransferLock);
  EXPECT_NE(waitForEvent("pluginUpgradeEvent=2.0.0.47"), 0u);
}

TEST_F(TwoHostsTest, GiveUpAfterWaitingForALock) {
  ASSERT_EQ(second.lockMutex(kTransferLock), MutexState::Free);
  const ImportHook<decltype(WaitForSingleObject)> impatient(
      module, "WaitForSingleObject", [](auto* original, HANDLE handle, DWORD milliseconds) {
        return original(handle, milliseconds == 60000 ? 0 : milliseconds);
      });
  load();
  send("setHostInfo", hostInformation());
  EXPECT_TRUE(log.waitFor(L"curl global mutex acquisition failed."));
  entry().onUnload();
  EXPECT_EQ(server.connections(), 0u);
  EXPECT_EQ(second.tryMutex(kTransferLock), MutexState::Free) << "it is the second's own, and still whole";
}

TEST_F(TwoHostsTest, LeaveTheVersionLockToWhoHasIt) {
  ASSERT_EQ(second.lockMutex(kVersionLock), MutexState::Free);
  const ImportHook<decltype(WaitForSingleObject)> impatient(
      module, "WaitForSingleObject", [](auto* original, HANDLE handle, DWORD milliseconds) {
        return original(handle, milliseconds == 30000 ? 0 : milliseconds);
      });
  beginUpdate();
  ASSERT_TRUE(log.waitFor(L"Unzip file err! VersionLock."));
  entry().onUnload();
  EXPECT_THAT(events(), testing::IsEmpty());
  EXPECT_FALSE(directoryExists(tree.root() + L"\\2.0.0.47"));
  EXPECT_THAT(listTree(cachePath(L"update")), testing::IsEmpty());
}

}  // namespace
}  // namespace zuvia::test
