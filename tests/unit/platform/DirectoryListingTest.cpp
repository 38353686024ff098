#include "platform/DirectoryListing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ScriptedListing.h"
#include "support/HandleCount.h"
#include "support/ImportHook.h"
#include "support/InstallTree.h"
#include "support/WideText.h"
#include "support/Wine.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

std::vector<WideText> names(DirectoryListing& listing) {
  std::vector<WideText> names;
  while (listing.next()) names.emplace_back(listing.name());
  return names;
}

TEST(DirectoryListing, NamesEverythingButItselfAndItsParent) {
  const InstallTree tree;
  tree.addFile(L"file", "x");
  tree.addFile(L"directory\\inner", "x");
  tree.addFile(L"...dots", "x");
  DirectoryListing listing(tree.root() + L"\\*");
  ASSERT_TRUE(listing);
  EXPECT_THAT(names(listing), UnorderedElementsAre(L"file", L"directory", L"...dots"));
}

TEST(DirectoryListing, KeepsTheOrderOfTheSystem) {
  const ScriptedListing script({{L"X:\\dir\\*", {{L"b"}, {L"."}, {L"c"}, {L".."}, {L".a"}, {L"..."}}}});
  DirectoryListing listing(L"X:\\dir\\*");
  EXPECT_THAT(names(listing), ElementsAre(L"b", L"c", L".a", L"..."));
}

TEST(DirectoryListing, TellsTheAttributes) {
  const InstallTree tree;
  makeDirectories(tree.root() + L"\\directory");
  DirectoryListing directory(tree.root() + L"\\directory*");
  ASSERT_TRUE(directory.next());
  EXPECT_TRUE(isPlainDirectory(directory.attributes()));

  makeDirectoryLink(tree.root() + L"\\link", tree.appPath());
  DirectoryListing link(tree.root() + L"\\link*");
  ASSERT_TRUE(link.next());
  EXPECT_EQ(link.attributes() & 0x410, 0x410u);
  EXPECT_FALSE(isPlainDirectory(link.attributes()));
}

TEST(DirectoryListing, OfAnEmptyDirectoryHasNoEntry) {
  const InstallTree tree;
  DirectoryListing listing(tree.root() + L"\\*");
  EXPECT_TRUE(listing);
  EXPECT_THAT(names(listing), IsEmpty());
}

TEST(DirectoryListing, FailsWithTheErrorOfTheSystem) {
  FailingImport<decltype(FindFirstFileW)> failing(GetModuleHandleW(nullptr), "FindFirstFileW", INVALID_HANDLE_VALUE,
                                                  {.lastError = 0x80000005});
  const DirectoryListing listing(L"X:\\dir\\*");
  EXPECT_EQ(GetLastError(), 0x80000005u);
  EXPECT_FALSE(listing);
}

TEST(DirectoryListing, EndsAtAnyFailure) {
  const InstallTree tree;
  tree.addFile(L"1", "x");
  tree.addFile(L"2", "x");
  FailingImport<decltype(FindNextFileW)> failing(
      GetModuleHandleW(nullptr), "FindNextFileW", FALSE,
      {.lastError = ERROR_ACCESS_DENIED, .fromCall = 3, .callCount = kEveryCall});  // after ".", ".." and "1"
  DirectoryListing listing(tree.root() + L"\\*");
  EXPECT_THAT(names(listing), testing::SizeIs(1));
}

TEST(DirectoryListing, IsClosedOnDemandOrAtItsEnd) {
  const ScriptedListing script({{L"X:\\dir\\*", {{L"a"}}}});
  {
    DirectoryListing closed(L"X:\\dir\\*");
    closed.close();
    EXPECT_EQ(script.closed(), 1u);
    EXPECT_FALSE(closed);
    const DirectoryListing left(L"X:\\dir\\*");
  }
  EXPECT_EQ(script.begun(), 2u);
  EXPECT_EQ(script.closed(), 2u);
}

TEST(IsPlainDirectory, RefusesFilesLinksAndWhatIsNotThere) {
  EXPECT_TRUE(isPlainDirectory(FILE_ATTRIBUTE_DIRECTORY));
  EXPECT_TRUE(isPlainDirectory(FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
  EXPECT_FALSE(isPlainDirectory(FILE_ATTRIBUTE_ARCHIVE));
  EXPECT_FALSE(isPlainDirectory(FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT));
  EXPECT_FALSE(isPlainDirectory(INVALID_FILE_ATTRIBUTES));
}

}  // namespace
}  // namespace zuvia::test
