// Which versions are removed, which are left alone, and the lock around it.

#include <string>
#include <tuple>
#include <vector>

#include "DllLoaderTest.h"
#include "support/HandleCount.h"
#include "support/ImportHook.h"
#include "support/SecondProcess.h"
#include "support/Wine.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr DWORD kError = 0x80000005;

const std::wstring kMutex = L"Local\\ZuviaPluginCleanup";

// The lines of the clean-up.
auto skippedPlace(const std::wstring& directory) {
  return isLine("deleteUnused", L"Skip non version directory: " + directory);
}
auto skippedInUse(const std::wstring& path) {
  return isLine("deleteUnused", L"Skip in-use or inaccessible version: " + path);
}
auto tried(const std::wstring& directory) {
  return isLine("deleteUnused", L"Try delete unused plugin: " + directory);
}
auto invokedInVain(const std::wstring& loaded) {
  return isLine("deleteUnused", L"deleteUnused invoke fail! Loaded: " + loaded);
}
auto notListed(const std::wstring& error, const std::wstring& directory) {
  return isLine("deleteDirectory", L"Delete directory fail! FindFirstFile error: " + error + L", path: " + directory);
}
auto skippedLink(const std::wstring& path) {
  return isLine("deleteDirectory", L"Delete directory: skip reparse point child: " + path);
}
auto fileNotDeleted(const std::wstring& error, const std::wstring& path) {
  return isLine("deleteDirectory", L"Delete file fail! error: " + error + L", path: " + path);
}
auto notRemoved(const std::wstring& error, const std::wstring& directory) {
  return isLine("deleteDirectory", L"Remove directory fail! error: " + error + L", path: " + directory);
}

class DeleteUnused : public DllLoaderTest {
 protected:
  std::wstring directory(const std::wstring& name) const { return joinPath(root(), name); }

  // Expects that a clean-up changes nothing on the disk.
  void expectNothingRemoved(const std::string& keepVersion = {}) {
    const TreeListing before = tree_.listAll();
    loader_.deleteUnused(keepVersion);
    EXPECT_EQ(describeChanges(before, tree_.listAll()), "");
  }
};

// ---- What is removed

TEST_F(DeleteUnused, RemovesTheVersionThatIsNotLoaded) {
  addVersion(L"2.0.0.45");
  tree_.addFile(L"2.0.0.45\\sub\\companion.dll", "x");
  addVersion(L"2.0.0.46");
  tree_.addFile(L"zuviaplugin.dll", "x");
  load();
  loader_.deleteUnused({});
  EXPECT_THAT(log_.lines(), ElementsAre(tried(directory(L"2.0.0.45"))));
  EXPECT_FALSE(directoryExists(directory(L"2.0.0.45")));
  EXPECT_TRUE(fileExists(directory(L"2.0.0.46") + L"\\zuimpl.dll"));
  EXPECT_TRUE(fileExists(root() + L"\\zuviaplugin.dll"));
}

TEST_F(DeleteUnused, RemovesNewerVersionsThatFailedToo) {
  addVersion(L"2.0.0.44");
  addVersion(L"2.0.0.45");
  add(L"2.0.0.50", L"null-object");
  load();
  EXPECT_EQ(loader_.versionString(), "2.0.0.45");
  loader_.deleteUnused({});
  EXPECT_THAT(log_.lines(), ElementsAre(tried(directory(L"2.0.0.50")), tried(directory(L"2.0.0.44"))));
  EXPECT_THAT(tree_.list(), ElementsAre(testing::Key(L"2.0.0.45"), testing::Key(L"2.0.0.45\\zuimpl.dll")));
}

TEST_F(DeleteUnused, KeepsTheVersionThatIsAskedFor) {
  addVersion(L"2.0.0.44");
  addVersion(L"2.0.0.45");
  addVersion(L"2.0.0.46");
  load();
  loader_.deleteUnused("2.0.0.45");
  EXPECT_THAT(log_.lines(), ElementsAre(tried(directory(L"2.0.0.44"))));
  EXPECT_TRUE(directoryExists(directory(L"2.0.0.45")));
  EXPECT_FALSE(directoryExists(directory(L"2.0.0.44")));
}

TEST_F(DeleteUnused, ComparesTheVersionToKeepAsATextOfFourNumbers) {
  addVersion(L"2.0.1.0");
  addVersion(L"9.9.9.9");
  load();
  loader_.deleteUnused("2.0.1");
  EXPECT_THAT(log_.lines(), ElementsAre(tried(directory(L"2.0.1.0"))));
}

TEST_F(DeleteUnused, KeepsEveryCandidateOfTheLoadedVersion) {
  add(L"1", L"2.0.0.46");
  add(L"2", L"2.0.0.46");
  add(L"other", L"2.0.0.46");
  load();
  expectNothingRemoved();
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(DeleteUnused, LooksAtTheVersionOfTheModuleNotOfTheDirectory) {
  add(L"2.0.0.46", L"2.0.0.45");
  add(L"2.0.0.45", L"2.0.0.46");
  load();
  loader_.deleteUnused({});
  EXPECT_THAT(log_.lines(), ElementsAre(tried(directory(L"2.0.0.46"))));
  EXPECT_TRUE(directoryExists(directory(L"2.0.0.45")));
}

TEST_F(DeleteUnused, RemovesReadOnlyFiles) {
  const std::wstring module = addVersion(L"2.0.0.45");
  addVersion(L"2.0.0.46");
  const std::wstring file = tree_.addFile(L"2.0.0.45\\sub\\file", "x");
  ASSERT_TRUE(SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY));
  ASSERT_TRUE(SetFileAttributesW(module.c_str(), FILE_ATTRIBUTE_READONLY));
  load();
  loader_.deleteUnused({});
  EXPECT_THAT(log_.lines(), ElementsAre(tried(directory(L"2.0.0.45"))));
  EXPECT_FALSE(directoryExists(directory(L"2.0.0.45")));
}

TEST_F(DeleteUnused, LeavesTheCandidatesAndTheRestOfTheStateAlone) {
  const std::wstring removed = addVersion(L"2.0.0.45");
  const std::wstring loaded = addVersion(L"2.0.0.46");
  load();
  loader_.deleteUnused({});
  EXPECT_THAT(loader_.candidates(), testing::SizeIs(2));
  EXPECT_TRUE(loader_.isLoaded());
  EXPECT_TRUE(isModuleLoaded(loaded));
  EXPECT_EQ(WideText(loader_.current().path), WideText(loaded));

  log_.clear();  // what is gone cannot be opened any more
  loader_.deleteUnused({});
  EXPECT_THAT(log_.lines(), ElementsAre(skippedInUse(removed)));
}

TEST_F(DeleteUnused, DoesNotTouchWhatWasPublishedAfterTheLoad) {
  addVersion(L"2.0.0.46");
  load();
  addVersion(L"2.0.0.47");
  addVersion(L"2.0.0.44");
  expectNothingRemoved();
  EXPECT_THAT(log_.lines(), IsEmpty());
}

// ---- What is left alone

TEST_F(DeleteUnused, LeavesOtherDirectoriesAlone) {
  copyFile(moduleFile(L"2.0.0.44"), root() + L"\\zuimpl.dll");
  add(L"2.0.0.45a", L"0.0.0.0");
  add(L"2.0.0.46\\2.0.0.45", L"2.0.0.45");
  addVersion(L"2.0.0.46");
  load();
  expectNothingRemoved();
  EXPECT_THAT(log_.lines(), ElementsAre(skippedPlace(directory(L"2.0.0.46\\2.0.0.45")), skippedPlace(root()),
                                        skippedPlace(directory(L"2.0.0.45a"))));
}

TEST_F(DeleteUnused, NeverRemovesAModuleOfAnotherLetterCase) {
  copyFile(moduleFile(L"2.0.0.45"), directory(L"2.0.0.45") + L"\\ZUIMPL.DLL");
  copyFile(moduleFile(L"2.0.0.44"), directory(L"other") + L"\\zuimpl.DLL");
  addVersion(L"2.0.0.46");
  load();
  expectNothingRemoved();
  EXPECT_THAT(log_.lines(), IsEmpty());
}

// The name is looked for anywhere in the path.
TEST_F(DeleteUnused, RemovesAModuleOfAnotherLetterCaseBelowADirectoryOfTheName) {
  const InstallTree tree(L"my zuimpl.dll");
  const PluginLocation location(tree.pluginPath());
  copyFile(moduleFile(L"2.0.0.45"), tree.root() + L"\\2.0.0.45\\ZUIMPL.DLL");
  tree.addVersion(L"2.0.0.46", moduleFile(L"2.0.0.46"));
  load();
  loader_.deleteUnused({});
  loader_.unload();
  EXPECT_THAT(log_.lines(), ElementsAre(tried(tree.root() + L"\\2.0.0.45")));
  EXPECT_FALSE(directoryExists(tree.root() + L"\\2.0.0.45"));
}

TEST_F(DeleteUnused, LeavesAVersionAloneThatAnotherProcessHolds) {
  addVersion(L"2.0.0.44");
  const std::wstring held = addVersion(L"2.0.0.45");
  addVersion(L"2.0.0.46");
  load();
  SecondProcess second;
  second.holdFile(held, FileShare::ReadWriteDelete);
  loader_.deleteUnused({});
  EXPECT_THAT(log_.lines(), ElementsAre(skippedInUse(held), tried(directory(L"2.0.0.44"))));
  EXPECT_TRUE(fileExists(held));

  log_.clear();
  second.releaseFiles();
  removeTree(directory(L"2.0.0.44"));
  loader_.deleteUnused({});
  EXPECT_FALSE(directoryExists(directory(L"2.0.0.45")));
}

TEST_F(DeleteUnused, OpensTheModuleForItselfAlone) {
  const std::wstring path = addVersion(L"2.0.0.45");
  addVersion(L"2.0.0.46");
  load();
  std::vector<std::tuple<std::wstring, DWORD, DWORD, bool, DWORD, DWORD, HANDLE>> opened;
  ImportHook<decltype(CreateFileW)> hook(
      self(), "CreateFileW",
      [&](auto*, const wchar_t* name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security, DWORD disposition,
          DWORD attributes, HANDLE pattern) -> HANDLE {
        opened.emplace_back(name, access, share, security != nullptr, disposition, attributes, pattern);
        SetLastError(ERROR_SHARING_VIOLATION);
        return INVALID_HANDLE_VALUE;
      });
  loader_.deleteUnused({});
  EXPECT_THAT(opened, ElementsAre(std::tuple(path, GENERIC_READ, 0u, false, DWORD{OPEN_EXISTING},
                                             DWORD{FILE_ATTRIBUTE_NORMAL}, nullptr)));
  EXPECT_THAT(log_.lines(), ElementsAre(skippedInUse(path)));
}

TEST_F(DeleteUnused, LeavesALinkInsideAndItsTargetAlone) {
  addVersion(L"2.0.0.45");
  addVersion(L"2.0.0.46");
  writeFile(tree_.appPath() + L"\\foreign", "x");
  const std::wstring link = directory(L"2.0.0.45") + L"\\link";
  makeDirectoryLink(link, tree_.appPath());
  load();
  loader_.deleteUnused({});
  EXPECT_THAT(log_.lines(), ElementsAre(tried(directory(L"2.0.0.45")), skippedLink(link),
                                        notRemoved(L"145", directory(L"2.0.0.45"))));
  EXPECT_TRUE(fileExists(tree_.appPath() + L"\\foreign"));
}

TEST_F(DeleteUnused, GoesOnAfterAVersionThatCannotBeRemovedWhole) {
  addVersion(L"2.0.0.44");
  addVersion(L"2.0.0.45");
  addVersion(L"2.0.0.46");
  const std::wstring held = tree_.addFile(L"2.0.0.45\\companion.dll", "x");
  load();
  SecondProcess second;
  second.holdFile(held);
  loader_.deleteUnused({});
  EXPECT_THAT(log_.lines(), ElementsAre(tried(directory(L"2.0.0.45")), fileNotDeleted(L"32", held),
                                        notRemoved(L"145", directory(L"2.0.0.45")), tried(directory(L"2.0.0.44"))));
  EXPECT_FALSE(directoryExists(directory(L"2.0.0.44")));
}

// ---- When nothing is done

TEST_F(DeleteUnused, DoesNothingBeforeALoad) {
  addVersion(L"2.0.0.45");
  expectNothingRemoved();
  EXPECT_THAT(log_.lines(), ElementsAre(invokedInVain(L"false")));
}

TEST_F(DeleteUnused, DoesNothingAfterUnloading) {
  addVersion(L"2.0.0.45");
  addVersion(L"2.0.0.46");
  load();
  loader_.unload();
  expectNothingRemoved();
  EXPECT_THAT(log_.lines(), ElementsAre(invokedInVain(L"false")));
}

TEST_F(DeleteUnused, DoesNothingAfterALoadThatFailed) {
  add(L"1", L"null-object");
  add(L"2", L"no-export");
  EXPECT_FALSE(loader_.loadZuDll(object_));
  log_.clear();
  expectNothingRemoved();
  EXPECT_THAT(log_.lines(), ElementsAre(invokedInVain(L"false")));
}

TEST_F(DeleteUnused, DoesNothingWithoutCandidates) {
  addVersion(L"2.0.0.45");
  load();
  {
    FailingImport<decltype(VerQueryValueW)> failing(self(), "VerQueryValueW", FALSE, {});
    EXPECT_FALSE(loader_.loadZuDll(object_));
  }
  log_.clear();
  expectNothingRemoved();
  EXPECT_THAT(log_.lines(), ElementsAre(invokedInVain(L"true")));
}

TEST_F(DeleteUnused, DoesNothingWithoutARoot) {
  addVersion(L"2.0.0.45");
  addVersion(L"2.0.0.46");
  load();
  const PluginLocation nowhere(L"", kError);
  expectNothingRemoved();
  EXPECT_THAT(log_.lines(), ElementsAre(isLine("getCurrentDllDirectory",
                                               L"Get current dll directory fail! GetModuleFileName error: 2147483653"),
                                        isLine("deleteUnused", L"deleteUnused invoke fail! Root directory is empty.")));
}

// ---- The lock

// A version that a clean-up would remove.
class CleanupLock : public DeleteUnused {
 protected:
  void SetUp() override {
    addVersion(L"2.0.0.45");
    addVersion(L"2.0.0.46");
    load();
  }

  void expectRemoval() {
    loader_.deleteUnused({});
    EXPECT_FALSE(directoryExists(directory(L"2.0.0.45")));
  }

  void expectSilence() {
    expectNothingRemoved();
    EXPECT_THAT(log_.lines(), IsEmpty());
  }

  SecondProcess second_;
};

TEST_F(CleanupLock, IsHeldDuringThePassAndNoLonger) {
  MutexState during = MutexState::Missing;
  {
    ImportHook<decltype(RemoveDirectoryW)> hook(self(), "RemoveDirectoryW",
                                                [&](auto* original, const wchar_t* path) -> BOOL {
                                                  during = second_.tryMutex(kMutex);
                                                  return original(path);
                                                });
    expectRemoval();
  }
  EXPECT_EQ(during, MutexState::Taken);
  EXPECT_EQ(second_.tryMutex(kMutex), MutexState::Missing);
}

TEST_F(CleanupLock, IsReleasedAndNotOnlyClosed) {
  const MutexHandle kept(CreateMutexW(nullptr, FALSE, kMutex.c_str()));
  expectRemoval();
  EXPECT_EQ(second_.tryMutex(kMutex), MutexState::Free);
}

TEST_F(CleanupLock, IsNotTakenWhenThereIsNothingToDo) {
  loader_.unload();
  FailingImport<decltype(CreateMutexW)> made(self(), "CreateMutexW", nullptr, {});
  loader_.deleteUnused({});
  EXPECT_EQ(made.calls(), 0u);
}

TEST_F(CleanupLock, IsMadeUnownedWithItsNameAndWaitedForThirtySeconds) {
  HANDLE mutex = nullptr;
  ImportHook<decltype(CreateMutexW)> made(
      self(), "CreateMutexW",
      [&](auto* original, SECURITY_ATTRIBUTES* security, BOOL owned, const wchar_t* name) -> HANDLE {
        EXPECT_EQ(security, nullptr);
        EXPECT_EQ(owned, FALSE);
        EXPECT_EQ(WideText(name), WideText(kMutex));
        return mutex = original(security, owned, name);
      });
  std::vector<DWORD> waits;  // for this mutex; threads of the test wait for other things
  ImportHook<decltype(WaitForSingleObject)> waited(self(), "WaitForSingleObject",
                                                   [&](auto* original, HANDLE handle, DWORD milliseconds) -> DWORD {
                                                     if (handle == mutex) waits.push_back(milliseconds);
                                                     return original(handle, milliseconds);
                                                   });
  expectRemoval();
  EXPECT_THAT(waits, ElementsAre(30000u));
}

TEST_F(CleanupLock, IsTakenOverWhenItsOwnerDied) {
  const MutexHandle kept(CreateMutexW(nullptr, FALSE, kMutex.c_str()));
  ASSERT_EQ(second_.lockMutex(kMutex), MutexState::Free);
  second_.die();
  expectRemoval();
  SecondProcess third;
  EXPECT_EQ(third.tryMutex(kMutex), MutexState::Free);
}

TEST_F(CleanupLock, IsGivenUpInSilenceWhenAnotherProcessKeepsIt) {
  ASSERT_EQ(second_.lockMutex(kMutex), MutexState::Free);
  FailingImport<decltype(ReleaseMutex)> released(self(), "ReleaseMutex", FALSE, {});
  std::vector<DWORD> results;
  {
    // The thirty seconds pass sooner.
    ImportHook<decltype(WaitForSingleObject)> hook(self(), "WaitForSingleObject",
                                                   [&](auto* original, HANDLE handle, DWORD milliseconds) -> DWORD {
                                                     if (milliseconds != 30000) return original(handle, milliseconds);
                                                     results.push_back(original(handle, 20));
                                                     return results.back();
                                                   });
    expectSilence();
  }
  EXPECT_THAT(results, ElementsAre(DWORD{WAIT_TIMEOUT}));
  EXPECT_EQ(released.calls(), 0u);
  second_.releaseMutex(kMutex);
  EXPECT_EQ(second_.tryMutex(kMutex), MutexState::Missing);  // nothing was left open here
}

TEST_F(CleanupLock, IsGivenUpInSilenceWhenTheWaitFails) {
  FailingImport<decltype(ReleaseMutex)> released(self(), "ReleaseMutex", FALSE, {});
  FailingImport<decltype(WaitForSingleObject)> failing(
      self(), "WaitForSingleObject", WAIT_FAILED, {.lastError = kError},
      [](HANDLE, DWORD milliseconds) { return milliseconds == 30000; });
  expectSilence();
  EXPECT_EQ(failing.failures(), 1u);
  EXPECT_EQ(released.calls(), 0u);
  EXPECT_EQ(second_.tryMutex(kMutex), MutexState::Missing);
}

TEST_F(CleanupLock, IsGivenUpInSilenceWhenItCannotBeMade) {
  FailingImport<decltype(CreateMutexW)> failing(self(), "CreateMutexW", nullptr, {.lastError = kError});
  expectSilence();
  EXPECT_EQ(failing.failures(), 1u);
}

TEST_F(CleanupLock, IsWaitedForWhileAnotherProcessCleansUp) {
  ASSERT_EQ(second_.lockMutex(kMutex), MutexState::Free);
  ImportHook<decltype(WaitForSingleObject)> hook(self(), "WaitForSingleObject",
                                                 [&](auto* original, HANDLE handle, DWORD milliseconds) -> DWORD {
                                                   if (milliseconds != 30000) return original(handle, milliseconds);
                                                   EXPECT_EQ(original(handle, 20), DWORD{WAIT_TIMEOUT});
                                                   second_.exit();
                                                   return original(handle, milliseconds);
                                                 });
  expectRemoval();
}

TEST_F(CleanupLock, LeavesNoHandleOpen) {
  expectRemoval();
  addVersion(L"2.0.0.45");
  const HandleCheck check;
  expectRemoval();
}

// ---- deleteDirectory by itself

class DeleteDirectory : public testing::Test {
 protected:
  InstallTree tree_;
  std::wstring directory_ = joinPath(tree_.root(), L"2.0.0.45");
  LogCapture log_;
};

TEST_F(DeleteDirectory, RemovesTheWholeTreeInSilence) {
  tree_.addFile(L"2.0.0.45\\one\\two\\file", "x");
  EXPECT_TRUE(ZuDllLoader::deleteDirectory(directory_));
  tree_.addFile(L"2.0.0.45\\one\\file", "x");
  EXPECT_TRUE(ZuDllLoader::deleteDirectory(directory_ + L"\\"));
  EXPECT_THAT(tree_.list(), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(DeleteDirectory, LogsADirectoryThatCannotBeListed) {
  EXPECT_FALSE(ZuDllLoader::deleteDirectory(directory_));
  EXPECT_FALSE(ZuDllLoader::deleteDirectory(directory_ + L"\\"));
  EXPECT_THAT(log_.lines(), ElementsAre(notListed(L"3", directory_), notListed(L"3", directory_ + L"\\")));
}

TEST_F(DeleteDirectory, ShowsErrorsUnsigned) {
  const std::wstring file = tree_.addFile(L"2.0.0.45\\file", "x");
  makeDirectories(directory_ + L"\\inner");
  const HMODULE self = GetModuleHandleW(nullptr);
  FailingImport<decltype(DeleteFileW)> kept(self, "DeleteFileW", FALSE, {.lastError = kError});
  FailingImport<decltype(RemoveDirectoryW)> removed(self, "RemoveDirectoryW", FALSE,
                                                    {.lastError = kError, .callCount = kEveryCall},
                                                    [&](const wchar_t* path) { return path == directory_; });
  FailingImport<decltype(FindFirstFileW)> listed(
      self, "FindFirstFileW", INVALID_HANDLE_VALUE, {.lastError = kError},
      [&](const wchar_t* pattern, WIN32_FIND_DATAW*) { return pattern == directory_ + L"\\inner\\*"; });
  EXPECT_FALSE(ZuDllLoader::deleteDirectory(directory_));
  EXPECT_THAT(log_.lines(), testing::UnorderedElementsAre(fileNotDeleted(L"2147483653", file),
                                                          notListed(L"2147483653", directory_ + L"\\inner"),
                                                          notRemoved(L"2147483653", directory_)));
}

TEST_F(DeleteDirectory, FailsWhenALinkStays) {
  makeDirectories(directory_);
  makeDirectoryLink(directory_ + L"\\link", tree_.appPath());
  EXPECT_FALSE(ZuDllLoader::deleteDirectory(directory_));
  EXPECT_THAT(log_.lines(), ElementsAre(skippedLink(directory_ + L"\\link"), notRemoved(L"145", directory_)));
  EXPECT_TRUE(directoryExists(tree_.appPath()));
}

}  // namespace
}  // namespace zuvia::test
