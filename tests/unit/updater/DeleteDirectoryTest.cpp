#include <gmock/gmock.h>

#include "support/HandleCount.h"
#include "support/SecondProcess.h"
#include "unit/updater/UpdaterFixture.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DeleteDirectoryTest : public UpdaterTest {
 protected:
  const std::wstring directory = joinPath(tree.root(), L"2.0.0.44");
  const std::wstring removeFailed = L"deleteDirectory: Remove directory fail! error: 145, path: ";
};

TEST_F(DeleteDirectoryTest, RemovesEverythingInIt) {
  tree.addFile(L"2.0.0.44\\zuimpl.dll", "x");
  tree.addFile(L"2.0.0.44\\a\\b\\c.txt", "x");
  makeDirectories(joinPath(directory, L"empty"));
  const std::wstring readOnly = tree.addFile(L"2.0.0.44\\a\\read-only.txt", "x");
  SetFileAttributesW(readOnly.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
  EXPECT_TRUE(ZuDllUpdater::deleteDirectory(directory));
  EXPECT_THAT(tree.list(), IsEmpty());
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(DeleteDirectoryTest, CountsAMissingDirectoryAsGone) {
  EXPECT_TRUE(ZuDllUpdater::deleteDirectory(directory));
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(DeleteDirectoryTest, LeavesAFileAlone) {
  tree.addFile(L"2.0.0.44", "x");
  SetFileAttributesW(directory.c_str(), FILE_ATTRIBUTE_ARCHIVE);
  EXPECT_FALSE(ZuDllUpdater::deleteDirectory(directory));
  EXPECT_TRUE(fileExists(directory));
  EXPECT_THAT(logged(), ElementsAre(L"deleteDirectory: Delete directory fail! Not a plain directory, attributes: 32"));
}

TEST_F(DeleteDirectoryTest, LeavesALinkAndItsTargetAlone) {
  const std::wstring kept = tree.addFile(L"kept\\file.txt", "x");
  makeDirectoryLink(directory, parentOf(kept));
  EXPECT_FALSE(ZuDllUpdater::deleteDirectory(directory));
  EXPECT_TRUE(directoryExists(directory));
  EXPECT_TRUE(fileExists(kept));
  EXPECT_THAT(logged(),
              ElementsAre(L"deleteDirectory: Delete directory fail! Not a plain directory, attributes: 1040"));
}

TEST_F(DeleteDirectoryTest, SkipsALinkInsideAndRemovesTheRest) {
  const std::wstring kept = tree.addFile(L"kept\\file.txt", "x");
  const std::wstring link = joinPath(directory, L"sub\\link");
  tree.addFile(L"2.0.0.44\\sub\\file.txt", "x");
  tree.addFile(L"2.0.0.44\\zuimpl.dll", "x");
  makeDirectoryLink(link, parentOf(kept));
  EXPECT_FALSE(ZuDllUpdater::deleteDirectory(directory));
  EXPECT_TRUE(fileExists(kept));
  EXPECT_EQ(listTree(directory), (TreeListing{{L"sub", "directory"}, {L"sub\\link", "link"}}));
  EXPECT_THAT(logged(), ElementsAre(L"deleteDirectory: Delete directory: skip reparse point child: " + link,
                                    removeFailed + joinPath(directory, L"sub"), removeFailed + directory));
}

TEST_F(DeleteDirectoryTest, GoesOnAfterAFileInUse) {
  const std::wstring held = tree.addFile(L"2.0.0.44\\b.dll", "x");
  tree.addFile(L"2.0.0.44\\a.dll", "x");
  tree.addFile(L"2.0.0.44\\c.dll", "x");
  SecondProcess holder;
  holder.holdFile(held);
  EXPECT_FALSE(ZuDllUpdater::deleteDirectory(directory));
  holder.releaseFiles();
  EXPECT_EQ(listTree(directory).size(), 1u);
  EXPECT_TRUE(fileExists(held));
  EXPECT_THAT(logged(),
              ElementsAre(L"deleteDirectory: Delete file fail! error: 32, path: " + held, removeFailed + directory));
}

TEST_F(DeleteDirectoryTest, FailsWhenItCannotBeListed) {
  tree.addFile(L"2.0.0.44\\a.dll", "x");
  const FailingImport<decltype(FindFirstFileW)> failing(
      self(), "FindFirstFileW", INVALID_HANDLE_VALUE, {.lastError = 0x80000005},
      [pattern = directory + L"\\*"](const wchar_t* path, WIN32_FIND_DATAW*) { return pattern == path; });
  EXPECT_FALSE(ZuDllUpdater::deleteDirectory(directory));
  EXPECT_EQ(failing.failures(), 1u);
  EXPECT_TRUE(directoryExists(directory));
  EXPECT_THAT(logged(), ElementsAre(L"deleteDirectory: Delete directory fail! FindFirstFile error: 2147483653"));
}

TEST_F(DeleteDirectoryTest, FailsWhenTheEmptyDirectoryStays) {
  tree.addFile(L"2.0.0.44\\a.dll", "x");
  const FailingImport<decltype(RemoveDirectoryW)> failing(self(), "RemoveDirectoryW", FALSE,
                                                          {.lastError = ERROR_SHARING_VIOLATION});
  EXPECT_FALSE(ZuDllUpdater::deleteDirectory(directory));
  EXPECT_THAT(listTree(directory), IsEmpty());
  EXPECT_THAT(logged(), ElementsAre(L"deleteDirectory: Remove directory fail! error: 32, path: " + directory));
}

TEST_F(DeleteDirectoryTest, LeavesNothingOpen) {
  tree.addFile(L"2.0.0.44\\a\\b\\c.txt", "x");
  ZuDllUpdater::deleteDirectory(directory);
  tree.addFile(L"2.0.0.44\\a\\b\\c.txt", "x");
  const HandleCheck check;
  const FailingImport<decltype(DeleteFileW)> failing(self(), "DeleteFileW", FALSE, {.lastError = ERROR_ACCESS_DENIED});
  EXPECT_FALSE(ZuDllUpdater::deleteDirectory(directory));
  EXPECT_TRUE(ZuDllUpdater::deleteDirectory(directory));
}

}  // namespace
}  // namespace zuvia::test
