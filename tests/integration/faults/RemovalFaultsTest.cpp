// The plugin removes versions that nobody uses any more: each call of Windows on the way fails once, by itself.

#include <shlwapi.h>

#include "integration/faults/FaultsTest.h"
#include "integration/faults/MutexFault.h"

namespace zuvia::test {
namespace {

// 2.0.0.45 is loaded. 2.0.0.44, with two files beside its module, is unused.
class RemovalFaultsTest : public FaultsTest {
 protected:
  RemovalFaultsTest() {
    clock.set(kBeginningOf1970);
    addVersion(L"2.0.0.45");
    addUnused();
    removePlainly();  // what is opened once per process
    addUnused();
  }

  // A pass with a fault: the lines that it logs, and that the next pass removes what this one left.
  void expectRemoved(const Fault& fault, const Lines& lines) { expectPass(fault, lines, true); }
  void expectNotRemoved(const Fault& fault, const Lines& lines) { expectPass(fault, lines, false); }

  // The same, with the whole directory as it was.
  void expectUntouched(const Fault& fault, const Lines& lines) {
    const TreeListing before = tree.list();
    expectPass(fault, lines, false, before);
  }

  Line passLine(const std::wstring& message) const { return {"ZuDllLoader::deleteUnused", message}; }
  Line removalLine(const std::wstring& message) const { return {"ZuDllLoader::deleteDirectory", message}; }
  Line begin() const { return passLine(L"Try delete unused plugin: " + unused); }
  Line notEmpty() const { return removalLine(L"Remove directory fail! error: 145, path: " + unused); }

  const std::wstring unused = directoryOf(L"2.0.0.44");
  const std::wstring inner = unused + L"\\sub";

 private:
  void expectPass(const Fault& fault, Lines lines, bool removed, std::optional<TreeListing> after = {}) {
    const LeakCheck check(3);
    entry().onLoaded(nullptr);
    log.clear();
    {
      const std::unique_ptr<ArmedFault> armed = arm(fault);
      EXPECT_EQ(send("setHostInfo", hostInformation()), "0");
      EXPECT_TRUE(armed->happened());
    }
    lines.insert(lines.begin(), {{"ZuLoaderPrivate::setHostInfo", L"setHostInfo uid: 4711, ver: 9.1.2, env: true"},
                                 {"ZuLoaderPrivate::setHostInfo", L"setHostInfo path: " + tree.appPath()}});
    EXPECT_EQ(ownLines(), lines);
    EXPECT_EQ(directoryExists(unused), !removed);
    if (after) {
      EXPECT_EQ(tree.list(), *after);
    }
    expectMutexesFree();
    entry().onUnload();
    addUnused();
    removePlainly();
    addUnused();
  }

  void addUnused() {
    addVersion(L"2.0.0.44");
    tree.addFile(L"2.0.0.44\\sub\\inner.txt", "x");
    const std::wstring file = tree.addFile(L"2.0.0.44\\read-only.txt", "x");
    SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
  }

  void removePlainly() {
    entry().onLoaded(nullptr);
    send("setHostInfo", hostInformation());
    EXPECT_FALSE(directoryExists(unused));
    entry().onUnload();
  }

  Clock clock{module};  // at the beginning of 1970, when no fetch is due yet
};

TEST_F(RemovalFaultsTest, WithoutItsOwnDirectoryNothingIsRemoved) {
  const Line empty = passLine(L"deleteUnused invoke fail! Root directory is empty.");
  const auto directoryLine = [](const std::wstring& message) {
    return Line{"ZuDllLoader::getCurrentDllDirectory", message};
  };
  expectUntouched(
      failing<decltype(GetModuleHandleExW)>("GetModuleHandleExW", FALSE, {.lastError = kGreatError}, isByAddress),
      {directoryLine(L"Get current dll directory fail! GetModuleHandleEx error: 2147483653"), empty});
  expectUntouched(failing<decltype(GetModuleFileNameW)>("GetModuleFileNameW", 0),
                  {directoryLine(L"Get current dll directory fail! GetModuleFileName error: 2147483653"), empty});
  // What is not the module's directory holds no version directory.
  expectUntouched(failing<decltype(PathRemoveFileSpecW)>("PathRemoveFileSpecW", FALSE),
                  {passLine(L"Skip non version directory: " + unused)});
}

TEST_F(RemovalFaultsTest, NeedsItsMutex) {
  expectUntouched(onMutex(kCleanUpMutex, {.creationError = kGreatError}, {"open"}), {});
  expectUntouched(onMutex(kCleanUpMutex, {.waitResult = WAIT_TIMEOUT}, {"open", "wait 30000 in vain", "close"}), {});
  expectUntouched(onMutex(kCleanUpMutex, {.waitResult = WAIT_FAILED}, {"open", "wait 30000 in vain", "close"}), {});

  SecondProcess holder;
  const auto abandon = [&] {
    EXPECT_EQ(holder.lockMutex(kCleanUpMutex), MutexState::Free);
    holder.die();
  };
  expectRemoved(onMutex(kCleanUpMutex, {.beforeWait = abandon}, {"open", "wait 30000 abandoned", "release", "close"}),
                {begin()});
}

TEST_F(RemovalFaultsTest, LeavesWhatItCannotOpenOrList) {
  const std::wstring path = modulePath(L"2.0.0.44");
  expectUntouched(failingFor<decltype(CreateFileW)>(path, "CreateFileW", INVALID_HANDLE_VALUE),
                  {passLine(L"Skip in-use or inaccessible version: " + path)});

  expectUntouched(failingFor<decltype(FindFirstFileW)>(unused + L"\\*", "FindFirstFileW", INVALID_HANDLE_VALUE),
                  {begin(), removalLine(L"Delete directory fail! FindFirstFile error: 2147483653, path: " + unused)});
  expectNotRemoved(
      failingFor<decltype(FindFirstFileW)>(inner + L"\\*", "FindFirstFileW", INVALID_HANDLE_VALUE),
      {begin(), removalLine(L"Delete directory fail! FindFirstFile error: 2147483653, path: " + inner), notEmpty()});
  // A listing that breaks off counts as its end.
  expectUntouched(failing<decltype(FindNextFileW)>("FindNextFileW", FALSE), {begin(), notEmpty()});
}

TEST_F(RemovalFaultsTest, GoesOnAfterWhatCannotBeDeleted) {
  const std::wstring path = modulePath(L"2.0.0.44");
  expectNotRemoved(failingFor<decltype(DeleteFileW)>(path, "DeleteFileW", FALSE),
                   {begin(), removalLine(L"Delete file fail! error: 2147483653, path: " + path), notEmpty()});

  // Windows, unlike Wine, deletes no file that is read-only.
  const std::wstring readOnly = unused + L"\\read-only.txt";
  const Fault stays = failingFor<decltype(SetFileAttributesW)>(readOnly, "SetFileAttributesW", FALSE);
  expectNotRemoved(both(stays, failingFor<decltype(DeleteFileW)>(readOnly, "DeleteFileW", FALSE, {.lastError = 5})),
                   {begin(), removalLine(L"Delete file fail! error: 5, path: " + readOnly), notEmpty()});

  expectNotRemoved(failingFor<decltype(RemoveDirectoryW)>(unused, "RemoveDirectoryW", FALSE),
                   {begin(), removalLine(L"Remove directory fail! error: 2147483653, path: " + unused)});
  expectNotRemoved(failingFor<decltype(RemoveDirectoryW)>(inner, "RemoveDirectoryW", FALSE),
                   {begin(), removalLine(L"Remove directory fail! error: 2147483653, path: " + inner), notEmpty()});
}

TEST_F(RemovalFaultsTest, MindsNoFailureOfGivingBack) {
  expectRemoved(failingAfterwards<decltype(FindClose)>("FindClose", FALSE), {begin()});
  expectRemoved(failingAfterwards<decltype(ReleaseMutex)>("ReleaseMutex", FALSE), {begin()});
  expectRemoved(failingAfterwards<decltype(CloseHandle)>("CloseHandle", FALSE), {begin()});
}

}  // namespace
}  // namespace zuvia::test
