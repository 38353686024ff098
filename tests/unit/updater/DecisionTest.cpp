#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <future>
#include <optional>

#include "common/VersionText.h"
#include "support/Digest.h"
#include "support/SecondProcess.h"
#include "support/TestServer.h"
#include "support/Text.h"
#include "support/TrustedRoot.h"
#include "unit/updater/UpdaterFixture.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kModule = "stands for a module";

class DecisionTest : public UpdaterTest {
 protected:
  DecisionTest() {
    updater.emplace(1);
    updater->setAppPath(tree.appPath());
    setCurrent("2.0.0.45");
  }

  void setCurrent(const std::string& version) {
    DllCandidate current;
    ASSERT_TRUE(parseUpdateVersion(version, current));
    updater->setCurrentImplementation(current);
  }

  // Decides about an entry that is not worth a task; the application path would be the last obstacle.
  void decide() {
    updater->setAppPath(L"");
    updater->onFetch(entry);
  }

  std::wstring versionDirectory() const { return joinPath(tree.root(), toWide(entry.ver)); }
  std::wstring absent() const { return L"checkUpdate: Directory not exist: " + versionDirectory(); }

  // Goes the whole way of the decision, as far as it goes without an application path.
  void expectWanted() {
    decide();
    EXPECT_THAT(logged(), ElementsAre(absent(), L"onFetch: Update plugin fail! Download path not specified."));
    log.clear();
  }

  UpdateEntry entry{"2.0.0.47", md5("package"), md5(kModule), "https://localhost/zuimpl.7z"};
  std::optional<ZuDllUpdater> updater;
};

TEST_F(DecisionTest, IgnoresAnIncompleteEntry) {
  for (std::string UpdateEntry::*const field :
       {&UpdateEntry::ver, &UpdateEntry::pmd5, &UpdateEntry::dmd5, &UpdateEntry::url}) {
    UpdateEntry incomplete = entry;
    incomplete.*field = "";
    updater->onFetch(incomplete);
  }
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(DecisionTest, RequiresHttpsInLowerCaseAtTheVeryBeginning) {
  for (const std::string url :
       {"http://localhost/x", "HTTPS://localhost/x", " https://localhost/x", "https:/localhost/x"}) {
    entry.url = url;
    decide();
    EXPECT_THAT(logged(), ElementsAre(L"onFetch: Update plugin fail! HTTPS is required: " + toWide(url)));
    log.clear();
  }
}

TEST_F(DecisionTest, LooksAtTheAddressBeforeTheVersion) {
  entry.url = "ftp://x";
  entry.ver = "no version";
  decide();
  EXPECT_THAT(logged(), ElementsAre(L"onFetch: Update plugin fail! HTTPS is required: ftp://x"));
}

class InvalidVersionTest : public DecisionTest, public testing::WithParamInterface<std::string> {};

TEST_P(InvalidVersionTest, IsRefused) {
  entry.ver = GetParam();
  decide();
  EXPECT_THAT(logged(), ElementsAre(L"onFetch: Update plugin fail! Invalid version: " + toWide(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(Texts, InvalidVersionTest,
                         testing::Values("1.2", "1.2.3.4.5", "1.2.70000", "65536.0.0", "9.9.9.65536", "9.9.9.",
                                         ".9.9.9", "9..9.9", "9.9.9a", "v9.9.9", "9.9.9 ", "9,9,9", "9", "...",
                                         "9.9.099999", "-9.9.9", "9.9.9.00000000000000000000000000", "..\\9.9.9"));

TEST_F(DecisionTest, TakesAVersionOfThreeNumbers) {
  entry.ver = "2.0.1";
  setCurrent("2.0.0.65535");
  expectWanted();
  setCurrent("2.0.1.0");
  decide();
  EXPECT_THAT(logged(), ElementsAre(L"onFetch: No needed to upgrade for version: 2.0.1, local ver is newest!"));
}

TEST_F(DecisionTest, WantsWhatIsHigherInTheFirstDifferentNumber) {
  for (const std::string version :
       {"2.0.0.46", "2.0.1.0", "2.1.0.0", "3.0.0.0", "65535.65535.65535.65535", "2.0.0.00046"}) {
    entry.ver = version;
    expectWanted();
  }
}

TEST_F(DecisionTest, DoesNotWantWhatIsNotHigher) {
  setCurrent("2.1.1.45");
  for (const std::string version : {"2.1.1.45", "2.1.1.44", "2.1.0.99", "2.0.99.99", "1.99.99.99", "2.1.1"}) {
    entry.ver = version;
    decide();
    EXPECT_THAT(logged(), ElementsAre(L"onFetch: No needed to upgrade for version: " + toWide(version) +
                                      L", local ver is newest!"));
    log.clear();
  }
}

TEST_F(DecisionTest, KeepsAnIntactVersionInAnyLetterCase) {
  const std::wstring file = tree.addFile(L"2.0.0.47\\zuimpl.dll", kModule);
  std::transform(entry.dmd5.begin(), entry.dmd5.end(), entry.dmd5.begin(), ::toupper);
  decide();
  EXPECT_THAT(logged(), ElementsAre(L"onFetch: No needed to upgrade for for version: 2.0.0.47"));
  EXPECT_TRUE(fileExists(file));
}

TEST_F(DecisionTest, DeletesADamagedVersionAndWantsItAgain) {
  tree.addFile(L"2.0.0.47\\zuimpl.dll", "damaged");
  const std::wstring other = tree.addFile(L"2.0.0.45\\zuimpl.dll", "x");
  decide();
  EXPECT_THAT(logged(), ElementsAre(L"checkUpdate: File md5 not match md5 " + toWide(md5("damaged")) +
                                        L", expected md5: " + toWide(entry.dmd5) + L", delete directory: true",
                                    L"onFetch: Update plugin fail! Download path not specified."));
  EXPECT_FALSE(directoryExists(versionDirectory()));
  EXPECT_TRUE(fileExists(other));
}

TEST_F(DecisionTest, SaysThatADamagedVersionCouldNotBeDeleted) {
  const std::wstring file = tree.addFile(L"2.0.0.47\\zuimpl.dll", "damaged");
  SecondProcess holder;
  holder.holdFile(file, FileShare::Read);
  EXPECT_TRUE(ZuDllUpdater::checkUpdate(entry, entry.dmd5));
  holder.releaseFiles();
  EXPECT_THAT(logged(), ElementsAre(L"deleteDirectory: Delete file fail! error: 32, path: " + file,
                                    L"deleteDirectory: Remove directory fail! error: 145, path: " + versionDirectory(),
                                    L"checkUpdate: File md5 not match md5 " + toWide(md5("damaged")) +
                                        L", expected md5: " + toWide(entry.dmd5) + L", delete directory: false"));
}

TEST_F(DecisionTest, DeletesAVersionWhoseDigestCannotBeHad) {
  const std::wstring file = tree.addFile(L"2.0.0.47\\zuimpl.dll", kModule);
  const FailingImport<decltype(CryptCreateHash)> failing(self(), "CryptCreateHash", FALSE, {.lastError = 5});
  EXPECT_TRUE(ZuDllUpdater::checkUpdate(entry, entry.dmd5));
  EXPECT_THAT(logged(), ElementsAre(L"getFileMD5: Get file md5 fail! CryptCreateHash error: 5, path: " + file,
                                    L"checkUpdate: File md5 not match md5 , expected md5: " + toWide(entry.dmd5) +
                                        L", delete directory: true"));
}

TEST_F(DecisionTest, WantsAVersionWithoutAModule) {
  makeDirectories(versionDirectory());
  EXPECT_TRUE(ZuDllUpdater::checkUpdate(entry, entry.dmd5));
  EXPECT_THAT(logged(), ElementsAre(L"checkUpdate: File not exist: " + versionDirectory() + L"\\zuimpl.dll"));
  EXPECT_TRUE(directoryExists(versionDirectory()));
}

TEST_F(DecisionTest, WantsAVersionWhoseModuleIsADirectory) {
  makeDirectories(versionDirectory() + L"\\zuimpl.dll");
  EXPECT_TRUE(ZuDllUpdater::checkUpdate(entry, entry.dmd5));
  EXPECT_THAT(logged(), ElementsAre(L"checkUpdate: File not exist: " + versionDirectory() + L"\\zuimpl.dll"));
}

TEST_F(DecisionTest, WantsAVersionThatIsAFile) {
  tree.addFile(L"2.0.0.47", "x");
  EXPECT_TRUE(ZuDllUpdater::checkUpdate(entry, entry.dmd5));
  EXPECT_THAT(logged(), ElementsAre(absent()));
}

TEST_F(DecisionTest, KnowsNoVersionWithoutItsOwnDirectory) {
  const ImportHook<decltype(GetModuleFileNameW)> failing(self(), "GetModuleFileNameW",
                                                         [](auto*, auto...) -> DWORD { return 0; });
  EXPECT_EQ(ZuDllUpdater::getCurrentDllDirectory(), L"");
  EXPECT_TRUE(ZuDllUpdater::checkUpdate(entry, entry.dmd5));
  EXPECT_THAT(logged(), ElementsAre(L"checkUpdate: Directory not exist: \\2.0.0.47"));
}

TEST_F(DecisionTest, KnowsNoVersionWithoutItsOwnModule) {
  const FailingImport<decltype(GetModuleHandleExW)> failing(self(), "GetModuleHandleExW", FALSE, {.lastError = 126});
  EXPECT_EQ(ZuDllUpdater::getCurrentDllDirectory(), L"");
  EXPECT_EQ(failing.failures(), 1u);
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(DecisionTest, FindsItsOwnDirectory) {
  EXPECT_EQ(ZuDllUpdater::getCurrentDllDirectory(), tree.root());
}

TEST_F(DecisionTest, NeedsAnApplicationPathLast) {
  updater->setAppPath(L"");
  const TreeListing before = tree.listAll();
  updater->onFetch(entry);
  EXPECT_THAT(logged(), ElementsAre(absent(), L"onFetch: Update plugin fail! Download path not specified."));
  EXPECT_EQ(tree.listAll(), before);
}

class TaskStartTest : public DecisionTest {
 protected:
  TaskStartTest() { entry.url = server.url("/zuimpl.7z"); }

  void TearDown() override { destroy(); }

  void expectNotFound() { server.expect("GET", "/zuimpl.7z", Answer::respond(404)); }
  void destroy() { updater.reset(); }

  // The lines of a task whose package is not there.
  std::vector<std::wstring> taskLines() const {
    return {
        L"downloadAsync::task: Try download plugin ver: 2.0.0.47, url:  " + toWide(entry.url),
        L"download: Download fail! path: " + package +
            L", curl code: 22, msg: The requested URL returned error: 404, http code: 404, received bytes: 0, write "
            L"succeeded: true, url: " +
            toWide(entry.url),
        L"downloadAsync::task: Download fail!"};
  }

  const FixedGuid guid{{0xabc, 0x1234, 0xf, {1, 2, 3, 4, 5, 6, 7, 8}}};
  const std::wstring directory = tree.appPath() + L"\\zuviaplugin\\cache\\update\\";
  const std::wstring package = directory + L"00000abc1234000f.zip";
  TestServer server;
  const TrustedRoot trusted{server.rootPem()};
};

TEST_F(TaskStartTest, MakesTheDownloadDirectoryOnceAndDownloadsIntoIt) {
  expectNotFound();
  expectNotFound();
  updater->onFetch(entry);
  updater->onFetch(entry);
  destroy();
  std::vector<std::wstring> expected = {absent(), L"onFetch: Directory not exist: " + directory + L", create: 0"};
  const std::vector<std::wstring> once = taskLines();
  expected.insert(expected.end(), once.begin(), once.end());
  std::vector<WideText> lines = logged();
  // The second decision and the first task run at the same time.
  EXPECT_EQ(lines.size(), expected.size() + 1 + once.size());
  EXPECT_EQ(std::count(lines.begin(), lines.end(), absent()), 2);
  lines.erase(std::find(lines.begin() + 1, lines.end(), absent()));
  lines.resize(std::min(lines.size(), expected.size()));
  EXPECT_THAT(lines, testing::ElementsAreArray(expected));
  EXPECT_THAT(listTree(directory), IsEmpty());
}

TEST_F(TaskStartTest, GoesOnWithoutADownloadDirectory) {
  {
    const FailingImport<decltype(SHCreateDirectoryExW)> failing(self(), "SHCreateDirectoryExW", ERROR_ACCESS_DENIED,
                                                                {});
    updater->onFetch(entry);
    destroy();
  }
  EXPECT_THAT(logged(),
              ElementsAre(absent(), L"onFetch: Directory not exist: " + directory + L", create: 5", taskLines()[0],
                          L"download: Download fail! Open save file failed, path: " + package +
                              L", errno: 2, msg: No such file or directory",
                          L"downloadAsync::task: Download fail!"));
}

// Holds the first task at the shared lock of all transfers.
class HeldTaskTest : public TaskStartTest {
 protected:
  void TearDown() override {
    gate.open();
    destroy();
  }

  // Starts a task and waits until it is there.
  void startHeldTask() {
    expectNotFound();
    updater->onFetch(entry);
    ASSERT_TRUE(gate.waitForCall());
  }

  static bool isWaiting(const std::future<void>& action) {
    return action.wait_for(std::chrono::milliseconds(200)) == std::future_status::timeout;
  }

  Gate gate;
  const ImportHook<decltype(WaitForSingleObject)> hook{
      self(), "WaitForSingleObject", [this](auto* original, HANDLE handle, DWORD milliseconds) -> DWORD {
        if (milliseconds == 60'000) gate.pass();
        return original(handle, milliseconds);
      }};
};

TEST_F(HeldTaskTest, IsWaitedForBeforeTheNext) {
  startHeldTask();
  expectNotFound();
  const size_t before = logged().size();
  const std::future<void> second = std::async(std::launch::async, [this] { updater->onFetch(entry); });
  EXPECT_TRUE(isWaiting(second));
  EXPECT_EQ(logged().size(), before + 1);  // the decision, and no second task
  gate.open();
  second.wait();
  destroy();
  std::vector<std::wstring> tail = taskLines();
  std::vector<std::wstring> expected(tail.begin() + 1, tail.end());
  expected.insert(expected.end(), tail.begin(), tail.end());
  std::vector<WideText> lines = logged();
  ASSERT_GE(lines.size(), expected.size());
  lines.erase(lines.begin(), lines.end() - static_cast<ptrdiff_t>(expected.size()));
  EXPECT_THAT(lines, testing::ElementsAreArray(expected));
}

TEST_F(HeldTaskTest, IsWaitedForByTheDestructor) {
  startHeldTask();
  const std::future<void> destruction = std::async(std::launch::async, [this] { destroy(); });
  EXPECT_TRUE(isWaiting(destruction));
  gate.open();
  destruction.wait();
  EXPECT_EQ(logged().back(), taskLines().back());
}

}  // namespace
}  // namespace zuvia::test
