#include "platform/DirectoryRemoval.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "ScriptedListing.h"
#include "support/HandleCount.h"
#include "support/ImportHook.h"
#include "support/InstallTree.h"
#include "support/SecondProcess.h"
#include "support/WideText.h"
#include "support/Wine.h"

namespace zuvia::test {
namespace {

using Kind = RemovalFault::Kind;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;

constexpr DWORD kError = 0x80000005;

// A fault with a path of its own.
struct Fault {
  Kind kind;
  DWORD error;
  WideText path;

  friend void PrintTo(const Fault& fault, std::ostream* stream) {
    *stream << "kind " << static_cast<int>(fault.kind) << ", error " << fault.error << ", ";
    PrintTo(fault.path, stream);
  }
};

class DirectoryRemoval : public testing::Test {
 protected:
  bool remove(const std::wstring& directory, RemovalCheck check = RemovalCheck::None) {
    return removeDirectoryTree(directory, check, [this](const RemovalFault& fault) {
      faults_.push_back({fault.kind, fault.error, fault.path});
      attributes_ = fault.attributes;
    });
  }

  static HMODULE self() { return GetModuleHandleW(nullptr); }

  InstallTree tree_;
  std::wstring directory_ = joinPath(tree_.root(), L"2.0.0.45");
  std::vector<Fault> faults_;
  DWORD attributes_ = 0;  // of the last fault
};

TEST_F(DirectoryRemoval, RemovesTheWholeTree) {
  tree_.addFile(L"2.0.0.45\\zuimpl.dll", "x");
  tree_.addFile(L"2.0.0.45\\one\\two\\three\\file", "x");
  makeDirectories(directory_ + L"\\empty");
  EXPECT_TRUE(remove(directory_));
  EXPECT_THAT(faults_, IsEmpty());
  EXPECT_THAT(tree_.list(), IsEmpty());
}

TEST_F(DirectoryRemoval, TakesATrailingBackslash) {
  tree_.addFile(L"2.0.0.45\\one\\file", "x");
  EXPECT_TRUE(remove(directory_ + L"\\"));
  EXPECT_THAT(tree_.list(), IsEmpty());
}

TEST_F(DirectoryRemoval, RemovesDirectoriesWhoseNamesEndInDotsAndBlanks) {
  for (const RemovalCheck check : {RemovalCheck::None, RemovalCheck::PlainDirectory}) {
    for (const wchar_t* name : {L"sub ", L"sub. ", L".. ", L"... ", L" ", L"sub \\.. \\.. "}) {
      tree_.addFile(L"2.0.0.45\\sub\\file", "x");
      makeDirectories(joinPath(directory_, name));
      EXPECT_TRUE(remove(directory_, check)) << toUtf8(name);
      EXPECT_THAT(faults_, IsEmpty());
      EXPECT_THAT(tree_.list(), IsEmpty());
    }
  }
}

TEST_F(DirectoryRemoval, RemovesReadOnlyFiles) {
  const std::wstring file = tree_.addFile(L"2.0.0.45\\file", "x");
  SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
  const DWORD attributes = GetFileAttributesW(file.c_str());
  ASSERT_TRUE(attributes & FILE_ATTRIBUTE_READONLY);
  RecordedImport<decltype(SetFileAttributesW), std::tuple<std::wstring, DWORD>> set(
      self(), "SetFileAttributesW",
      [](const wchar_t* path, DWORD value) { return std::tuple(std::wstring(path), value); });
  EXPECT_TRUE(remove(directory_));
  EXPECT_THAT(tree_.list(), IsEmpty());
  EXPECT_THAT(set.records(), ElementsAre(FieldsAre(file, attributes & ~DWORD{FILE_ATTRIBUTE_READONLY})));
}

TEST_F(DirectoryRemoval, TriesToDeleteWhatStaysReadOnly) {
  const std::wstring file = tree_.addFile(L"2.0.0.45\\file", "x");
  SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
  FailingImport<decltype(SetFileAttributesW)> failing(self(), "SetFileAttributesW", FALSE, {.lastError = 1});
  RecordedImport<decltype(DeleteFileW), std::wstring> deleted(self(), "DeleteFileW",
                                                              [](const wchar_t* path) { return std::wstring(path); });
  remove(directory_);
  EXPECT_EQ(failing.failures(), 1u);
  EXPECT_THAT(deleted.records(), ElementsAre(file));
}

TEST_F(DirectoryRemoval, LeavesAttributesOfOtherFilesAlone) {
  tree_.addFile(L"2.0.0.45\\file", "x");
  FailingImport<decltype(SetFileAttributesW)> set(self(), "SetFileAttributesW", FALSE, {});
  EXPECT_TRUE(remove(directory_));
  EXPECT_EQ(set.calls(), 0u);
}

TEST_F(DirectoryRemoval, ReportsADirectoryThatIsNotThere) {
  EXPECT_FALSE(remove(directory_));
  EXPECT_THAT(faults_, ElementsAre(FieldsAre(Kind::ListFailed, DWORD{ERROR_PATH_NOT_FOUND}, directory_)));
}

TEST_F(DirectoryRemoval, LeavesADirectoryThatCannotBeListed) {
  tree_.addFile(L"2.0.0.45\\inner\\file", "x");
  tree_.addFile(L"2.0.0.45\\zuimpl.dll", "x");
  const std::wstring inner = directory_ + L"\\inner";
  FailingImport<decltype(FindFirstFileW)> failing(
      self(), "FindFirstFileW", INVALID_HANDLE_VALUE, {.lastError = kError},
      [&](const wchar_t* pattern, WIN32_FIND_DATAW*) { return pattern == inner + L"\\*"; });
  EXPECT_FALSE(remove(directory_));
  EXPECT_THAT(faults_, ElementsAre(FieldsAre(Kind::ListFailed, kError, inner),
                                   FieldsAre(Kind::NotRemoved, DWORD{ERROR_DIR_NOT_EMPTY}, directory_)));
  EXPECT_THAT(listTree(directory_), testing::SizeIs(2));  // inner and its file
}

TEST_F(DirectoryRemoval, LeavesLinksAndTheirTargetsAlone) {
  writeFile(tree_.appPath() + L"\\foreign", "x");
  tree_.addFile(L"2.0.0.45\\zuimpl.dll", "x");
  makeDirectoryLink(directory_ + L"\\link", tree_.appPath());
  EXPECT_FALSE(remove(directory_));
  EXPECT_THAT(faults_, ElementsAre(FieldsAre(Kind::ReparsePoint, 0u, directory_ + L"\\link"),
                                   FieldsAre(Kind::NotRemoved, DWORD{ERROR_DIR_NOT_EMPTY}, directory_)));
  EXPECT_TRUE(fileExists(tree_.appPath() + L"\\foreign"));
  EXPECT_THAT(listTree(directory_), ElementsAre(testing::Pair(L"link", "link")));
}

// A removed directory does not turn the whole into a success when something inside stayed.
TEST_F(DirectoryRemoval, RemembersAFaultWhenTheDirectoryGoesAllTheSame) {
  makeDirectories(directory_);
  const ScriptedListing script(
      {{directory_ + L"\\*", {{L"link", FILE_ATTRIBUTE_REPARSE_POINT}, {L"file"}, {L"last", FILE_ATTRIBUTE_DIRECTORY}}},
       {directory_ + L"\\last\\*", {{L"."}, {L".."}}}});
  FailingImport<decltype(DeleteFileW)> deleted(self(), "DeleteFileW", TRUE, {});
  FailingImport<decltype(RemoveDirectoryW)> removed(self(), "RemoveDirectoryW", TRUE, {},
                                                    [&](const wchar_t* path) { return path != directory_; });
  EXPECT_FALSE(remove(directory_));
  EXPECT_THAT(faults_, ElementsAre(FieldsAre(Kind::ReparsePoint, 0u, directory_ + L"\\link")));
  EXPECT_FALSE(directoryExists(directory_));
  EXPECT_EQ(deleted.calls(), 1u);
  EXPECT_EQ(removed.calls(), 1u);
}

TEST_F(DirectoryRemoval, GoesOnAfterAFileThatCannotBeDeleted) {
  tree_.addFile(L"2.0.0.45\\a", "x");
  const std::wstring held = tree_.addFile(L"2.0.0.45\\b", "x");
  tree_.addFile(L"2.0.0.45\\c", "x");
  SecondProcess second;
  second.holdFile(held);
  EXPECT_FALSE(remove(directory_));
  EXPECT_THAT(faults_, ElementsAre(FieldsAre(Kind::FileNotDeleted, DWORD{ERROR_SHARING_VIOLATION}, held),
                                   FieldsAre(Kind::NotRemoved, DWORD{ERROR_DIR_NOT_EMPTY}, directory_)));
  second.releaseFiles();
  EXPECT_THAT(listTree(directory_), ElementsAre(testing::Key(L"b")));
}

TEST_F(DirectoryRemoval, ReportsEveryParentOfWhatStays) {
  const std::wstring held = tree_.addFile(L"2.0.0.45\\one\\two\\file", "x");
  SecondProcess second;
  second.holdFile(held);
  EXPECT_FALSE(remove(directory_));
  EXPECT_THAT(faults_, ElementsAre(FieldsAre(Kind::FileNotDeleted, testing::_, held),
                                   FieldsAre(Kind::NotRemoved, DWORD{ERROR_DIR_NOT_EMPTY}, directory_ + L"\\one\\two"),
                                   FieldsAre(Kind::NotRemoved, DWORD{ERROR_DIR_NOT_EMPTY}, directory_ + L"\\one"),
                                   FieldsAre(Kind::NotRemoved, DWORD{ERROR_DIR_NOT_EMPTY}, directory_)));
}

TEST_F(DirectoryRemoval, ReportsADirectoryThatCannotBeRemovedAsItWasGiven) {
  makeDirectories(directory_);
  FailingImport<decltype(RemoveDirectoryW)> failing(self(), "RemoveDirectoryW", FALSE, {.lastError = kError});
  EXPECT_FALSE(remove(directory_ + L"\\"));
  EXPECT_THAT(faults_, ElementsAre(FieldsAre(Kind::NotRemoved, kError, directory_ + L"\\")));
}

TEST_F(DirectoryRemoval, ClosesEveryListingBeforeItsDirectoryGoes) {
  makeDirectories(directory_);
  const ScriptedListing script(
      {{directory_ + L"\\*", {{L"inner", FILE_ATTRIBUTE_DIRECTORY}}}, {directory_ + L"\\inner\\*", {{L"."}}}});
  std::vector<std::pair<std::wstring, std::size_t>> removed;  // and how many listings were open then
  ImportHook<decltype(RemoveDirectoryW)> hook(self(), "RemoveDirectoryW", [&](auto*, const wchar_t* path) -> BOOL {
    removed.emplace_back(path, script.begun() - script.closed());
    return TRUE;
  });
  EXPECT_TRUE(remove(directory_));
  EXPECT_THAT(removed, ElementsAre(testing::Pair(directory_ + L"\\inner", 1u), testing::Pair(directory_, 0u)));
}

TEST_F(DirectoryRemoval, LeavesNoHandleOpen) {
  tree_.addFile(L"2.0.0.45\\one\\file", "x");
  remove(directory_);
  tree_.addFile(L"2.0.0.45\\one\\file", "x");
  const HandleCheck check;
  EXPECT_TRUE(remove(directory_));
}

TEST_F(DirectoryRemoval, WithTheCheckTakesAMissingDirectoryAsRemoved) {
  EXPECT_TRUE(remove(directory_, RemovalCheck::PlainDirectory));
  EXPECT_THAT(faults_, IsEmpty());
}

TEST_F(DirectoryRemoval, WithTheCheckLeavesAFileAlone) {
  const std::wstring file = tree_.addFile(L"2.0.0.45", "x");
  EXPECT_FALSE(remove(file, RemovalCheck::PlainDirectory));
  EXPECT_THAT(faults_, ElementsAre(FieldsAre(Kind::NotPlainDirectory, 0u, file)));
  EXPECT_EQ(attributes_, GetFileAttributesW(file.c_str()));
  EXPECT_TRUE(fileExists(file));
}

TEST_F(DirectoryRemoval, WithTheCheckLeavesALinkAlone) {
  writeFile(tree_.appPath() + L"\\foreign", "x");
  makeDirectoryLink(directory_, tree_.appPath());
  EXPECT_FALSE(remove(directory_, RemovalCheck::PlainDirectory));
  EXPECT_THAT(faults_, ElementsAre(FieldsAre(Kind::NotPlainDirectory, 0u, directory_)));
  EXPECT_EQ(attributes_ & 0x410, 0x410u);
  EXPECT_TRUE(fileExists(tree_.appPath() + L"\\foreign"));
}

TEST_F(DirectoryRemoval, WithTheCheckRemovesTheWholeTree) {
  tree_.addFile(L"2.0.0.45\\one\\two\\file", "x");
  EXPECT_TRUE(remove(directory_, RemovalCheck::PlainDirectory));
  EXPECT_THAT(faults_, IsEmpty());
  EXPECT_FALSE(directoryExists(directory_));
}

}  // namespace
}  // namespace zuvia::test
