#include "support/Files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <system_error>

#include "support/InstallTree.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::Key;

TEST(Files, WritesAndReadsWholeFiles) {
  const InstallTree tree;
  const std::string content("a\r\n\0b", 5);
  writeFile(tree.root() + L"\\one\\two\\file", content);
  EXPECT_EQ(readFile(tree.root() + L"\\one\\two\\file"), content);
  writeFile(tree.root() + L"\\one\\two\\file", "");
  EXPECT_EQ(readFile(tree.root() + L"\\one\\two\\file"), "");
}

TEST(Files, TellsFilesFromDirectories) {
  const InstallTree tree;
  const std::wstring file = tree.addFile(L"file", "");
  EXPECT_TRUE(fileExists(file));
  EXPECT_FALSE(directoryExists(file));
  EXPECT_TRUE(directoryExists(tree.root()));
  EXPECT_FALSE(fileExists(tree.root()));
  EXPECT_FALSE(fileExists(tree.root() + L"\\none"));
}

TEST(Files, NamesThePathOfAFailure) {
  const InstallTree tree;
  try {
    readFile(tree.root() + L"\\none");
    FAIL() << "no exception";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().value(), ERROR_FILE_NOT_FOUND);
    EXPECT_THAT(error.what(), testing::HasSubstr("root\\none"));
  }
}

TEST(Files, HandlesPathsBeyondTheUsualLimit) {
  const InstallTree tree;
  std::wstring path = tree.root();
  for (int i = 0; i < 8; ++i) path += L"\\" + std::wstring(50, L'x');
  writeFile(path + L"\\file", "far down");
  EXPECT_EQ(readFile(path + L"\\file"), "far down");
}

TEST(Files, ListsTreesWithTheirContents) {
  const InstallTree tree;
  tree.addFile(L"b\\file", "1");
  tree.addFile(L"a", "2");
  const TreeListing listing = tree.list();
  EXPECT_THAT(listing, ElementsAre(Key(L"a"), Key(L"b"), Key(L"b\\file")));
  EXPECT_EQ(listing.at(L"b"), "directory");
  EXPECT_EQ(listing.at(L"a"), "1 bytes d4735e3a265e16eee03f59718b9b5d03019c07d8b6c51f90da3a666eec13ab35");
}

TEST(Files, ListsTreesThatAreNotThereYet) {
  const InstallTree tree;
  tree.addFile(L"b\\c\\file", "1");
  tree.addFile(L"a", "2");
  EXPECT_EQ(listingOf({{L"a", "2"}, {L"b\\c\\file", "1"}}), tree.list());
}

TEST(Files, SaysWhatChangedInATree) {
  const InstallTree tree;
  tree.addFile(L"gone", "");
  const std::wstring changed = tree.addFile(L"changed", "1");
  tree.addFile(L"same", "1");
  const TreeListing before = tree.list();
  EXPECT_EQ(describeChanges(before, before), "");
  removeTree(tree.root() + L"\\gone");
  writeFile(changed, "2");
  tree.addFile(L"added", "");
  EXPECT_EQ(describeChanges(before, tree.list()), "changed: changed\nmissing: gone\nnew: added\n");
}

}  // namespace
}  // namespace zuvia::test
