#include "support/Wine.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <string>

#include "support/InstallTree.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::Pair;

TEST(DirectoryLink, LooksLikeAJunctionAndLeadsToItsTarget) {
  const InstallTree tree(L"a b \u4e2d");
  const InstallTree elsewhere;
  elsewhere.addFile(L"file.txt", "there");
  const std::wstring link = tree.root() + L"\\link";
  makeDirectoryLink(link, elsewhere.root());
  EXPECT_EQ(GetFileAttributesW(link.c_str()), DWORD{FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT});
  EXPECT_EQ(readFile(link + L"\\file.txt"), "there");
}

TEST(DirectoryLink, IsListedAndRemovedWithoutBeingFollowed) {
  const InstallTree elsewhere;
  const std::wstring file = elsewhere.addFile(L"file.txt", "there");
  {
    const InstallTree tree;
    makeDirectoryLink(tree.root() + L"\\link", elsewhere.root());
    EXPECT_THAT(tree.list(), testing::ElementsAre(Pair(L"link", "link")));
  }
  EXPECT_TRUE(fileExists(file));
}

TEST(InstallTreeUnderWine, RemovesModulesThatFailedToLoad) {
  std::wstring base;
  {
    const InstallTree tree;
    base = tree.base();
    const std::wstring directory = tree.addVersion(L"2.0.0.50", moduleFile(L"missing-dependency"));
    EXPECT_EQ(LoadLibraryW((directory + L"\\zuimpl.dll").c_str()), nullptr);
  }
  EXPECT_FALSE(directoryExists(base));
}

TEST(InstallTreeUnderWine, RemovesAPluginThatStaysLoaded) {
  std::wstring base;
  {
    const InstallTree tree;
    base = tree.base();
    copyFile(moduleFile(L"2.0.0.45"), tree.pluginPath());
    EXPECT_NE(LoadLibraryW(tree.pluginPath().c_str()), nullptr);
  }
  EXPECT_FALSE(directoryExists(base));
}

TEST(InstallTreeUnderWine, ReportsAModuleThatIsStillLoaded) {
  static std::unique_ptr<InstallTree> tree;
  tree = std::make_unique<InstallTree>();
  const std::wstring base = tree->base();
  const std::wstring directory = tree->addVersion(L"2.0.0.45", moduleFile(L"2.0.0.45"));
  const HMODULE module = LoadLibraryW((directory + L"\\zuimpl.dll").c_str());
  EXPECT_NONFATAL_FAILURE(tree.reset(), "Cannot remove");
  FreeLibrary(module);
  removeTree(base);
}

}  // namespace
}  // namespace zuvia::test
