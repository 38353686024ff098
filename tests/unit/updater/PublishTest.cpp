#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>

#include "support/Digest.h"
#include "support/HandleCount.h"
#include "support/SecondProcess.h"
#include "support/TestServer.h"
#include "support/Text.h"
#include "support/TrustedRoot.h"
#include "unit/updater/UpdaterFixture.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kVersion = "2.0.0.47";
const std::wstring kVersionLock = L"Local\\ZuviaPluginUpdate-2.0.0.47";
constexpr DWORD kVersionWait = 30'000;
const GUID kGuid = {0x1a2b3c, 0x4d, 0xe0f, {0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}};

// What the callback was told.
struct Told {
  std::vector<std::string> versions;
  DWORD thread = 0;
  bool lockWasFree = false;
};

class PublishTest : public UpdaterTest {
 protected:
  PublishTest() {
    const ImportHook<decltype(SubmitThreadpoolWork)> neverFetches(self(), "SubmitThreadpoolWork",
                                                                  [](auto*, PTP_WORK) {});
    updater.setAppPath(tree.appPath());
    updater.start([this](const std::string& version) {
      told.versions.push_back(version);
      told.thread = GetCurrentThreadId();
      told.lockWasFree = isMutexFree(kVersionLock);
    });
    offer({{L"zuimpl.dll", module}, {L"data/companion.txt", "companion"}});
  }

  // Makes the package and the entry that offers it.
  void offer(const PackageEntries& entries) { offerBytes(makePackage(entries)); }
  void offerBytes(std::string bytes) {
    content = std::move(bytes);
    entry = {kVersion, md5(content), md5(module), server.url("/zuimpl.7z")};
  }

  // Serves the package and waits for the task.
  void run() {
    server.expect("GET", "/zuimpl.7z", Answer::respond(200, content));
    runUnserved();
  }
  void runUnserved() { updater.downloadAsync(package, entry).get(); }

  // Lines of the task, in the order of a publication.
  std::wstring task(const std::wstring& message) const { return L"downloadAsync::task: " + message; }
  std::wstring trying() const { return task(L"Try download plugin ver: 2.0.0.47, url:  " + toWide(entry.url)); }
  std::wstring downloaded() const { return task(L"Download success ver:  2.0.0.47"); }
  std::wstring unpacked() const { return task(L"Unzip file success path: " + temporary); }
  std::wstring deciding(bool already) const {
    return task(std::wstring(L"Try published download plugin : ") + (already ? L"true" : L"false"));
  }
  std::wstring moved(bool published) const {
    return task(std::wstring(L"MoveFileExW  published: ") + (published ? L"true" : L"false") + L", dest: " + target);
  }
  std::wstring skipped() const { return task(L"Publish plugin fail, skip update callback, ver: 2.0.0.47"); }

  // What holds after every task, however it ended.
  void TearDown() override {
    EXPECT_FALSE(fileExists(package));
    EXPECT_FALSE(directoryExists(temporary));
    EXPECT_TRUE(isMutexFree(kVersionLock));
  }

  void expectPublished() const {
    EXPECT_EQ(readFile(joinPath(target, L"zuimpl.dll")), module);
    EXPECT_EQ(readFile(joinPath(target, L"data\\companion.txt")), "companion");
    EXPECT_EQ(listTree(target).size(), 3u);
    EXPECT_THAT(told.versions, ElementsAre(kVersion));
  }

  // Nothing was published, with these lines after those of the download.
  template <typename... Lines>
  void expectNotPublished(const Lines&... lines) const {
    EXPECT_THAT(logged(), ElementsAre(trying(), downloaded(), lines...));
    EXPECT_THAT(told.versions, IsEmpty());
  }

  const FixedGuid guid{kGuid};
  TestServer server;
  const TrustedRoot trusted{server.rootPem()};
  const std::string module = readFile(moduleFile(L"2.0.0.47"));
  const std::wstring package = packagePath();
  const std::wstring target = joinPath(tree.root(), L"2.0.0.47");
  const std::wstring temporary = joinPath(tree.root(), L".update-2.0.0.47-001a2b3c004d0e0f");
  std::string content;
  UpdateEntry entry;
  Told told;
  ZuDllUpdater updater{1};
};

TEST_F(PublishTest, MakesANewVersionDirectory) {
  run();
  EXPECT_THAT(logged(), ElementsAre(trying(), downloaded(), unpacked(), deciding(false), moved(true)));
  expectPublished();
  EXPECT_NE(told.thread, GetCurrentThreadId());
  EXPECT_TRUE(told.lockWasFree);
  EXPECT_EQ(tree.list().size(), 4u);
}

TEST_F(PublishTest, AcceptsDigestsInAnyLetterCase) {
  std::transform(entry.pmd5.begin(), entry.pmd5.end(), entry.pmd5.begin(), ::toupper);
  std::transform(entry.dmd5.begin(), entry.dmd5.end(), entry.dmd5.begin(), ::toupper);
  run();
  expectPublished();
}

TEST_F(PublishTest, CallsNobodyWhenNobodyAsked) {
  ZuDllUpdater silent{2};
  server.expect("GET", "/zuimpl.7z", Answer::respond(200, content));
  silent.downloadAsync(package, entry).get();
  EXPECT_THAT(logged(), ElementsAre(trying(), downloaded(), unpacked(), deciding(false), moved(true)));
  EXPECT_TRUE(directoryExists(target));
}

TEST_F(PublishTest, ClearsALeftoverOfItsVeryName) {
  writeFile(joinPath(temporary, L"old.txt"), "left by a crash");
  const std::wstring other = tree.addFile(L".update-2.0.0.47-ffffffffffffffff\\old.txt", "x");
  run();
  expectPublished();
  EXPECT_TRUE(fileExists(other));
}

TEST_F(PublishTest, MovesOnceAndWritesThrough) {
  struct Move {
    std::wstring from, to;
    DWORD flags;
    bool lockFree;
  };
  const RecordedImport<decltype(MoveFileExW), Move> moves(self(), "MoveFileExW",
                                                          [](const wchar_t* from, const wchar_t* to, DWORD flags) {
                                                            return Move{from, to, flags, isMutexFree(kVersionLock)};
                                                          });
  run();
  ASSERT_EQ(moves.records().size(), 1u);
  EXPECT_EQ(moves.records()[0].from, temporary);
  EXPECT_EQ(moves.records()[0].to, target);
  EXPECT_EQ(moves.records()[0].flags, 8u);
  EXPECT_FALSE(moves.records()[0].lockFree);
}

TEST_F(PublishTest, LetsGoOfTheLockBeforeThePackageIsDeleted) {
  std::vector<bool> freeAtDeletion;
  {
    const ImportHook<decltype(DeleteFileW)> hook(self(), "DeleteFileW", [&](auto* original, const wchar_t* path) {
      if (package == path) freeAtDeletion.push_back(isMutexFree(kVersionLock));
      return original(path);
    });
    run();
  }
  EXPECT_THAT(freeAtDeletion, ElementsAre(true));
}

TEST_F(PublishTest, EndsWhenTheDownloadFails) {
  server.expect("GET", "/zuimpl.7z", Answer::respond(404));
  runUnserved();
  EXPECT_THAT(logged(), ElementsAre(trying(),
                                    L"download: Download fail! path: " + package +
                                        L", curl code: 22, msg: The requested URL returned error: 404, http "
                                        L"code: 404, received bytes: 0, write succeeded: true, url: " +
                                        toWide(entry.url),
                                    task(L"Download fail!")));
  EXPECT_THAT(told.versions, IsEmpty());
}

TEST_F(PublishTest, DeletesAPackageWithAnotherDigest) {
  entry.pmd5 = md5("something else");
  run();
  expectNotPublished(task(L"Download exception! Expected md5: " + toWide(entry.pmd5) + L", but found: " +
                          toWide(md5(content)) + L", del: true"));
  EXPECT_THAT(tree.list(), IsEmpty());
}

TEST_F(PublishTest, SaysThatSuchAPackageCouldNotBeDeleted) {
  entry.pmd5 = md5("something else");
  {
    const FailingImport<decltype(DeleteFileW)> failing(self(), "DeleteFileW", FALSE, {.lastError = ERROR_ACCESS_DENIED},
                                                       [this](const wchar_t* path) { return package == path; });
    run();
  }
  expectNotPublished(task(L"Download exception! Expected md5: " + toWide(entry.pmd5) + L", but found: " +
                          toWide(md5(content)) + L", del: false"));
  DeleteFileW(package.c_str());
}

TEST_F(PublishTest, RefusesAPackageWhoseDigestCannotBeHad) {
  const FailingImport<decltype(CryptGetHashParam)> failing(self(), "CryptGetHashParam", FALSE, {.lastError = 5});
  run();
  expectNotPublished(L"getFileMD5: Get file md5 fail! CryptGetHashParam error: 5, path: " + package,
                     task(L"Download exception! Expected md5: " + toWide(entry.pmd5) + L", but found: , del: true"));
}

TEST_F(PublishTest, GivesUpWithoutTheVersionLock) {
  tree.addFile(L".update-2.0.0.47-001a2b3c004d0e0f\\old.txt", "left by a crash");  // gone before the lock is asked for
  const FailingImport<decltype(CreateMutexW)> failing(
      self(), "CreateMutexW", nullptr, {.lastError = ERROR_ACCESS_DENIED},
      [](SECURITY_ATTRIBUTES*, BOOL, const wchar_t* name) { return name != nullptr && name == kVersionLock; });
  run();
  EXPECT_EQ(failing.failures(), 1u);
  expectNotPublished(task(L"Unzip file err! VersionLock."));
  EXPECT_THAT(tree.list(), IsEmpty());
}

TEST_F(PublishTest, GivesUpWhileAnotherProcessHoldsTheVersionLock) {
  SecondProcess holder;
  EXPECT_EQ(holder.lockMutex(kVersionLock), MutexState::Free);
  DWORD waited = 0;
  {
    const ImportHook<decltype(WaitForSingleObject)> hook(
        self(), "WaitForSingleObject", [&waited](auto* original, HANDLE handle, DWORD milliseconds) -> DWORD {
          if (milliseconds != kVersionWait) return original(handle, milliseconds);
          return waited = original(handle, 0);
        });
    run();
  }
  EXPECT_EQ(waited, DWORD{WAIT_TIMEOUT});
  expectNotPublished(task(L"Unzip file err! VersionLock."));
  EXPECT_FALSE(fileExists(package));
  EXPECT_THAT(tree.list(), IsEmpty());
  holder.releaseMutex(kVersionLock);
}

TEST_F(PublishTest, TakesAnAbandonedVersionLock) {
  HANDLE kept = CreateMutexW(nullptr, FALSE, kVersionLock.c_str());
  SecondProcess holder;
  holder.lockMutex(kVersionLock);
  holder.die();
  run();
  expectPublished();
  CloseHandle(kept);
}

TEST_F(PublishTest, DoesNotWaitForTheLockOfAnotherVersion) {
  SecondProcess holder;
  holder.lockMutex(L"Local\\ZuviaPluginUpdate-2.0.0.48");
  run();
  expectPublished();
}

TEST_F(PublishTest, RefusesWhatCannotBeUnpacked) {
  offerBytes("not an archive");
  run();
  expectNotPublished(L"unZip: Check unzip file fail. Invalid 7z signature, size: 14", task(L"Unzip file return fail!"),
                     skipped());
  EXPECT_THAT(tree.list(), IsEmpty());
}

TEST_F(PublishTest, RemovesWhatWasUnpackedUntilAFailure) {
  offer({{L"a", "1"}, {L"a/b", "2"}, {L"zuimpl.dll", module}});
  run();
  EXPECT_EQ(logged().size(), 5u);
  EXPECT_EQ(logged().back(), skipped());
  EXPECT_THAT(tree.list(), IsEmpty());
}

TEST_F(PublishTest, RefusesAModuleWithAnotherDigest) {
  entry.dmd5 = md5("something else");
  run();
  expectNotPublished(unpacked(), skipped());
  EXPECT_THAT(tree.list(), IsEmpty());
}

TEST_F(PublishTest, RefusesAModuleOfAnotherVersion) {
  const std::string older = readFile(moduleFile(L"2.0.0.46"));
  offer({{L"zuimpl.dll", older}});
  entry.dmd5 = md5(older);
  run();
  expectNotPublished(unpacked(), skipped());
  EXPECT_THAT(tree.list(), IsEmpty());
}

TEST_F(PublishTest, RefusesAModuleWithoutAVersion) {
  const std::wstring file = moduleFile(L"no-version");
  const DWORD error = errorAfter([&file] { GetFileVersionInfoSizeW(file.c_str(), nullptr); });
  offer({{L"zuimpl.dll", readFile(file)}});
  entry.dmd5 = md5(readFile(file));
  run();
  expectNotPublished(unpacked(),
                     L"getDllVersion: Get dll version fail! No version resource, path: " + temporary +
                         L"\\zuimpl.dll, error: " + std::to_wstring(error),
                     skipped());
}

TEST_F(PublishTest, RefusesAVersionTextThatIsNone) {
  entry.ver = "2.0";
  run();
  const std::wstring path = joinPath(tree.root(), L".update-2.0-001a2b3c004d0e0f");
  EXPECT_THAT(logged(), ElementsAre(task(L"Try download plugin ver: 2.0, url:  " + toWide(entry.url)),
                                    task(L"Download success ver:  2.0"), task(L"Unzip file success path: " + path),
                                    task(L"Publish plugin fail, skip update callback, ver: 2.0")));
  EXPECT_THAT(tree.list(), IsEmpty());
}

TEST_F(PublishTest, TakesAVersionOfThreeNumbers) {
  const std::string three = readFile(moduleFile(L"2.0.1.0"));
  offer({{L"zuimpl.dll", three}});
  entry.ver = "2.0.1";
  entry.dmd5 = md5(three);
  run();
  EXPECT_THAT(told.versions, ElementsAre("2.0.1"));
  EXPECT_EQ(readFile(joinPath(tree.root(), L"2.0.1\\zuimpl.dll")), three);
}

TEST_F(PublishTest, LeavesAFileInThePlaceOfTheTarget) {
  tree.addFile(L"2.0.0.47", "a file");
  run();
  expectNotPublished(unpacked(), task(L"Invalid update target path: " + target), skipped());
  EXPECT_EQ(readFile(target), "a file");
}

TEST_F(PublishTest, LeavesALinkInThePlaceOfTheTarget) {
  const std::wstring elsewhere = joinPath(tree.appPath(), L"elsewhere");
  writeFile(joinPath(elsewhere, L"kept.txt"), "x");
  makeDirectoryLink(target, elsewhere);
  run();
  expectNotPublished(unpacked(), task(L"Invalid update target path: " + target), skipped());
  EXPECT_EQ(listTree(elsewhere).size(), 1u);
  EXPECT_TRUE(directoryExists(target));
}

TEST_F(PublishTest, KeepsAnIntactVersionAndStillTells) {
  tree.addVersion(L"2.0.0.47", moduleFile(L"2.0.0.47"));
  tree.addFile(L"2.0.0.47\\own.txt", "x");
  const TreeListing before = tree.list();
  run();
  EXPECT_THAT(logged(), ElementsAre(trying(), downloaded(), unpacked(), deciding(true)));
  EXPECT_EQ(tree.list(), before);
  EXPECT_THAT(told.versions, ElementsAre(kVersion));
}

TEST_F(PublishTest, ReplacesAVersionWithAnotherModule) {
  tree.addVersion(L"2.0.0.47", moduleFile(L"2.0.0.46"));
  tree.addFile(L"2.0.0.47\\own.txt", "x");
  run();
  EXPECT_THAT(logged(), ElementsAre(trying(), downloaded(), unpacked(), deciding(false), moved(true)));
  expectPublished();
}

TEST_F(PublishTest, ReplacesAVersionWithoutAModule) {
  tree.addFile(L"2.0.0.47\\own.txt", "x");
  run();
  EXPECT_THAT(logged(), ElementsAre(trying(), downloaded(), unpacked(), deciding(false), moved(true)));
  expectPublished();
}

TEST_F(PublishTest, ReplacesAVersionWhoseModuleIsADirectory) {
  tree.addFile(L"2.0.0.47\\zuimpl.dll\\own.txt", "x");
  run();
  EXPECT_THAT(logged(), ElementsAre(trying(), downloaded(), unpacked(), deciding(false), moved(true)));
  expectPublished();
}

TEST_F(PublishTest, DoesNotCountALinkToTheModule) {
  tree.addVersion(L"2.0.0.47", moduleFile(L"2.0.0.47"));
  const std::wstring file = joinPath(target, L"zuimpl.dll");
  const ImportHook<decltype(GetFileAttributesW)> hook(
      self(), "GetFileAttributesW", [&file](auto* original, const wchar_t* path) -> DWORD {
        return original(path) | (file == path ? FILE_ATTRIBUTE_REPARSE_POINT : 0);
      });
  run();
  EXPECT_THAT(logged(), ElementsAre(trying(), downloaded(), unpacked(), deciding(false), moved(true)));
}

TEST_F(PublishTest, FailsWhenTheOldTargetCannotBeRemoved) {
  const std::wstring held = tree.addFile(L"2.0.0.47\\held.txt", "x");
  SecondProcess holder;
  holder.holdFile(held);
  run();
  holder.releaseFiles();
  expectNotPublished(unpacked(), deciding(false), L"deleteDirectory: Delete file fail! error: 32, path: " + held,
                     L"deleteDirectory: Remove directory fail! error: 145, path: " + target, skipped());
  EXPECT_TRUE(fileExists(held));
}

TEST_F(PublishTest, LeavesADeletedTargetDeletedWhenTheMoveFails) {
  tree.addVersion(L"2.0.0.47", moduleFile(L"2.0.0.46"));
  tree.addVersion(L"2.0.0.45", moduleFile(L"2.0.0.45"));
  const FailingImport<decltype(MoveFileExW)> failing(self(), "MoveFileExW", FALSE, {.lastError = ERROR_ACCESS_DENIED});
  run();
  EXPECT_EQ(failing.failures(), 1u);
  expectNotPublished(unpacked(), deciding(false), moved(false), skipped());
  EXPECT_FALSE(directoryExists(target));
  EXPECT_EQ(tree.list().size(), 2u);
}

TEST_F(PublishTest, GoesNowhereWithoutItsOwnDirectory) {
  {
    const ImportHook<decltype(GetModuleFileNameW)> failing(
        self(), "GetModuleFileNameW", [](auto* original, HMODULE asked, wchar_t* path, DWORD size) -> DWORD {
          return asked == self() ? 0 : original(asked, path, size);
        });
    run();
  }
  expectNotPublished(skipped());
  EXPECT_THAT(tree.list(), IsEmpty());
}

TEST_F(PublishTest, UsesAGuidThatCouldNotBeMade) {
  const FixedGuid zero({}, E_FAIL);
  run();
  EXPECT_THAT(logged(), testing::Contains(
                            task(L"Unzip file success path: " + tree.root() + L"\\.update-2.0.0.47-0000000000000000")));
  expectPublished();
}

TEST_F(PublishTest, LeavesNothingOpen) {
  server.serve("GET", "/zuimpl.7z", Answer::respond(200, content));
  runUnserved();
  const HandleCheck check;
  runUnserved();
  removeTree(target);
  runUnserved();
  entry.dmd5 = md5("something else");
  runUnserved();
  entry.pmd5 = md5("something else");
  runUnserved();
}

}  // namespace
}  // namespace zuvia::test
