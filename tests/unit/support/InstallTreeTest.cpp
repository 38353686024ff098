#include "support/InstallTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace zuvia::test {
namespace {

TEST(InstallTree, MakesRootAndApplicationPath) {
  const InstallTree tree;
  EXPECT_TRUE(directoryExists(tree.root()));
  EXPECT_TRUE(directoryExists(tree.appPath()));
  EXPECT_EQ(parentOf(tree.root()), tree.base());
}

TEST(InstallTree, IsADifferentDirectoryEachTime) {
  const InstallTree one;
  const InstallTree other;
  EXPECT_NE(one.base(), other.base());
}

TEST(InstallTree, TakesBlanksAndAnyCharacter) {
  const InstallTree tree(L"a b \u4e2d\u00e9 100% & co");
  EXPECT_TRUE(directoryExists(tree.root()));
  EXPECT_NE(tree.root().find(L"a b \u4e2d\u00e9 100% & co"), std::wstring::npos);
}

TEST(InstallTree, AddsVersionsAndFiles) {
  const InstallTree tree;
  const std::wstring module = tree.addFile(L"deep\\source.dll", "content");
  const std::wstring directory = tree.addVersion(L"2.0.0.45", module);
  EXPECT_EQ(directory, tree.root() + L"\\2.0.0.45");
  EXPECT_EQ(readFile(directory + L"\\zuimpl.dll"), "content");
}

TEST(InstallTree, RemovesEverythingAtItsEnd) {
  std::wstring base;
  {
    const InstallTree tree;
    base = tree.base();
    const std::wstring file = tree.addFile(L"2.0.0.45\\read-only.txt", "x");
    SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_TRUE(directoryExists(base));
  }
  EXPECT_FALSE(directoryExists(base));
}

TEST(InstallTree, StaysWhenItIsKept) {
  std::wstring base;
  {
    InstallTree tree;
    base = tree.base();
    tree.keep();
  }
  EXPECT_TRUE(directoryExists(base));
  removeTree(base);
}

TEST(InstallTree, ReportsWhatCannotBeRemoved) {
  static std::unique_ptr<InstallTree> tree;
  tree = std::make_unique<InstallTree>();
  const std::wstring base = tree->base();
  const std::wstring path = tree->addFile(L"open.txt", "x");
  HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_NONFATAL_FAILURE(tree.reset(), "Cannot remove");
  CloseHandle(file);
  removeTree(base);
}

TEST(ModuleFile, RefusesWhatWasNotBuilt) {
  EXPECT_THROW(moduleFile(L"no-such-module"), std::runtime_error);
}

}  // namespace
}  // namespace zuvia::test
