#include "support/HostProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <system_error>

#include "support/CallCutter.h"
#include "support/InstallTree.h"
#include "support/TestServer.h"
#include "support/Wine.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::Ge;
using testing::IsEmpty;
using testing::Key;
using testing::Not;
using testing::Pair;

class HostProcessTest : public testing::Test {
 protected:
  HostProcessTest() {
    tree.installPlugin();
    tree.addVersion(L"2.0.0.45", moduleFile(L"2.0.0.45"));
  }

  const InstallTree tree;
  HostProcess host{tree};
};

TEST_F(HostProcessTest, LoadsThePluginAndTellsWhatItSays) {
  EXPECT_EQ(host.load(), "2.0.0.45");
  host.unload();
  EXPECT_THAT(host.events(), ElementsAre("pluginLoadedEvent=", "pluginLoadedDoneEvent=2.0.0.45"));
  EXPECT_THAT(host.messages(), Contains(WideText(L"Load plugin success, path: " + tree.root() +
                                                 L"\\2.0.0.45\\zuimpl.dll, version: 2.0.0.45")));
  host.exit();
}

TEST_F(HostProcessTest, LoadsNothingWhereThereIsNothing) {
  const InstallTree empty;
  empty.installPlugin();
  EXPECT_EQ(HostProcess(empty).load(), "");
}

TEST_F(HostProcessTest, ReachesNoServerByItself) {
  host.load();
  host.sendHostInformation();
  EXPECT_TRUE(host.waitForMessage(L"onFetch fail key: zu_plugin_update"));
}

TEST_F(HostProcessTest, TrustsOneRootOnly) {
  TestServer server;
  server.serve("POST", "/configs/pc/post", Answer::respond(200, "{}"));
  for (const auto& [root, outcome] : {std::pair(server.rootPem(), L"onFetch success but configs err, key: "),
                                      {TestServer().rootPem(), L"onFetch fail key: "}}) {
    HostProcess one(tree, server.port());
    one.trustOnly(root);
    one.load();
    one.sendHostInformation();
    EXPECT_TRUE(one.waitForMessage(outcome)) << testing::PrintToString(one.messages());
  }
}

TEST_F(HostProcessTest, CountsTheCallsThatReachBeyondTheProcess) {
  host.load();
  const auto calls = host.calls();
  EXPECT_THAT(calls, Contains(Pair("LoadLibraryExW", 1)));
  EXPECT_THAT(calls, Contains(Pair("FindNextFileW", Ge(2u))));
  EXPECT_THAT(calls, Not(Contains(Key("malloc"))));
  EXPECT_THAT(calls, Not(Contains(Key("MoveFileExW"))));
}

TEST_F(HostProcessTest, EndsAtTheCallOfThatNumber) {
  host.cutAt("FindNextFileW", 2);
  EXPECT_THROW(host.load(), HostEnded);
  EXPECT_EQ(host.waitForEnd(), CallCutter::kCutStatus);
  EXPECT_THAT(host.events(), ElementsAre("pluginLoadedEvent="));
  EXPECT_THROW(host.load(), HostEnded);
}

TEST_F(HostProcessTest, CountsACutFromWhereItIsAsked) {
  host.load();
  host.unload();
  host.cutAt("LoadLibraryExW", 2);
  EXPECT_EQ(host.load(), "2.0.0.45");
  EXPECT_THAT(host.calls(), Contains(Pair("LoadLibraryExW", 2)));
  host.unload();
  EXPECT_THROW(host.load(), HostEnded);
}

TEST_F(HostProcessTest, RefusesToCutWhatIsNotImported) {
  EXPECT_THROW(host.cutAt("CreateFile2", 1), std::runtime_error);
}

TEST_F(HostProcessTest, StopsAtAMessageUntilItIsToGoOn) {
  host.stopAt(L"Load plugin success");
  host.begin("load");
  EXPECT_TRUE(host.waitForMessage(L"Load plugin success"));
  EXPECT_FALSE(host.waitForEvent("pluginLoadedDoneEvent=2.0.0.45", 300));
  host.resume();
  EXPECT_EQ(host.finish(), "2.0.0.45");
  host.unload();
  EXPECT_EQ(host.load(), "2.0.0.45");  // it stops once
}

TEST_F(HostProcessTest, GoesOnOnlyWhereItWasToStop) {
  EXPECT_THROW(host.resume(), std::system_error);
}

TEST_F(HostProcessTest, TellsWhatItHasOpen) {
  EXPECT_THAT(host.handles(), Contains(Pair("running threads", Ge(1u))));
}

TEST_F(HostProcessTest, TellsWhatItHoldsInMemory) {
  const MemoryCount before = host.memory();
  EXPECT_GT(before.privateBytes, before.heapBytes / 2);
  host.load();
  EXPECT_GT(host.memory().heapBlocks, before.heapBlocks);
}

TEST_F(HostProcessTest, KeepsALibraryLoaded) {
  host.keepLoaded(companionFile());
  EXPECT_THROW(host.keepLoaded(L"C:\\none.dll"), std::runtime_error);
}

TEST_F(HostProcessTest, ForgetsWhatWasSaid) {
  host.load();
  host.forget();
  EXPECT_THAT(host.messages(), IsEmpty());
  host.unload();
  EXPECT_THAT(host.messages(), ElementsAre(WideText(L"onUnload")));
  EXPECT_THAT(host.events(), IsEmpty());
}

TEST_F(HostProcessTest, FindsCandidatesAndTriesThem) {
  tree.addVersion(L"2.0.0.50", moduleFile(L"missing-dependency"));
  tree.addVersion(L"deep\\er", moduleFile(L"2.0.0.46"));
  tree.addFile(L"torn\\ZUIMPL.DLL", "MZ");
  const InstallTree elsewhere;
  elsewhere.addVersion(L"2.0.0.47", moduleFile(L"2.0.0.47"));
  makeDirectoryLink(tree.root() + L"\\link", elsewhere.root());
  const auto candidates = host.findCandidates();
  EXPECT_THAT(candidates, ElementsAre(Field(&Candidate::loads, false), Field(&Candidate::loads, true),
                                      Field(&Candidate::loads, true), Field(&Candidate::version, std::nullopt)));
  EXPECT_EQ(candidates[1].path, tree.root() + L"\\deep\\er\\zuimpl.dll");
}

}  // namespace
}  // namespace zuvia::test
