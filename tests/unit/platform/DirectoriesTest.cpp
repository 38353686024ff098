#include "platform/Directories.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "support/InstallTree.h"
#include "support/Wine.h"

namespace zuvia::test {
namespace {

TEST(CreateDirectories, MakesAllMissingParents) {
  const InstallTree tree(L"a b \u4e2d");
  EXPECT_EQ(createDirectories(tree.root() + L"\\one\\two\\three"), 0);
  EXPECT_TRUE(directoryExists(tree.root() + L"\\one\\two\\three"));
}

TEST(CreateDirectories, TellsWhatExistsAlready) {
  const InstallTree tree;
  EXPECT_EQ(createDirectories(tree.root()), ERROR_ALREADY_EXISTS);
}

TEST(CreateDirectories, FailsBelowAFile) {
  const InstallTree tree;
  const std::wstring file = tree.addFile(L"file", "x");
  EXPECT_EQ(createDirectories(file + L"\\inner"), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(readFile(file), "x");
}

TEST(IsDirectory, TellsDirectoriesFromFilesAndNothing) {
  const InstallTree tree;
  const std::wstring file = tree.addFile(L"file", "x");
  const std::wstring link = tree.root() + L"\\link";
  makeDirectoryLink(link, tree.appPath());

  EXPECT_TRUE(isDirectory(tree.root()));
  EXPECT_TRUE(isDirectory(link));
  EXPECT_FALSE(isDirectory(file));
  EXPECT_FALSE(isDirectory(tree.root() + L"\\none"));

  EXPECT_TRUE(isFile(file));
  EXPECT_FALSE(isFile(tree.root()));
  EXPECT_FALSE(isFile(link));
  EXPECT_FALSE(isFile(tree.root() + L"\\none"));
}

}  // namespace
}  // namespace zuvia::test
