#include "platform/DirectoryRemoval.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "DirectoryLink.h"
#include "ScriptedListing.h"
#include "support/HandleCount.h"
#include "support/ImportHook.h"
#include "support/InstallTree.h"
#include "support/SecondProcess.h"
#include "support/WideText.h"

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
      m_faults.push_back({fault.kind, fault.error, fault.path});
      m_attributes = fault.attributes;
    });
  }

  static HMODULE self() { return GetModuleHandleW(nullptr); }

  InstallTree m_tree;
  std::wstring m_directory = joinPath(m_tree.root(), L"2.0.0.45");
  std::vector<Fault> m_faults;
  DWORD m_attributes = 0;  // of the last fault
};

TEST_F(DirectoryRemoval, RemovesTheWholeTree) {
  m_tree.addFile(L"2.0.0.45\\zuimpl.dll", "x");
  m_tree.addFile(L"2.0.0.45\\one\\two\\three\\file", "x");
  makeDirectories(m_directory + L"\\empty");
  EXPECT_TRUE(remove(m_directory));
  EXPECT_THAT(m_faults, IsEmpty());
  EXPECT_THAT(m_tree.list(), IsEmpty());
}

TEST_F(DirectoryRemoval, TakesATrailingBackslash) {
  m_tree.addFile(L"2.0.0.45\\one\\file", "x");
  EXPECT_TRUE(remove(m_directory + L"\\"));
  EXPECT_THAT(m_tree.list(), IsEmpty());
}

TEST_F(DirectoryRemoval, RemovesReadOnlyFiles) {
  const std::wstring file = m_tree.addFile(L"2.0.0.45\\file", "x");
  SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
  const DWORD attributes = GetFileAttributesW(file.c_str());
  ASSERT_TRUE(attributes & FILE_ATTRIBUTE_READONLY);
  RecordedImport<decltype(SetFileAttributesW), std::tuple<std::wstring, DWORD>> set(
      self(), "SetFileAttributesW",
      [](const wchar_t* path, DWORD value) { return std::tuple(std::wstring(path), value); });
  EXPECT_TRUE(remove(m_directory));
  EXPECT_THAT(m_tree.list(), IsEmpty());
  EXPECT_THAT(set.records(), ElementsAre(FieldsAre(file, attributes & ~DWORD{FILE_ATTRIBUTE_READONLY})));
}

TEST_F(DirectoryRemoval, TriesToDeleteWhatStaysReadOnly) {
  const std::wstring file = m_tree.addFile(L"2.0.0.45\\file", "x");
  SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
  FailingImport<decltype(SetFileAttributesW)> failing(self(), "SetFileAttributesW", FALSE, {.lastError = 1});
  RecordedImport<decltype(DeleteFileW), std::wstring> deleted(self(), "DeleteFileW",
                                                              [](const wchar_t* path) { return std::wstring(path); });
  remove(m_directory);
  EXPECT_EQ(failing.failures(), 1u);
  EXPECT_THAT(deleted.records(), ElementsAre(file));
}

TEST_F(DirectoryRemoval, LeavesAttributesOfOtherFilesAlone) {
  m_tree.addFile(L"2.0.0.45\\file", "x");
  FailingImport<decltype(SetFileAttributesW)> set(self(), "SetFileAttributesW", FALSE, {});
  EXPECT_TRUE(remove(m_directory));
  EXPECT_EQ(set.calls(), 0u);
}

TEST_F(DirectoryRemoval, ReportsADirectoryThatIsNotThere) {
  EXPECT_FALSE(remove(m_directory));
  EXPECT_THAT(m_faults, ElementsAre(FieldsAre(Kind::ListFailed, DWORD{ERROR_PATH_NOT_FOUND}, m_directory)));
}

TEST_F(DirectoryRemoval, LeavesADirectoryThatCannotBeListed) {
  m_tree.addFile(L"2.0.0.45\\inner\\file", "x");
  m_tree.addFile(L"2.0.0.45\\zuimpl.dll", "x");
  const std::wstring inner = m_directory + L"\\inner";
  FailingImport<decltype(FindFirstFileW)> failing(
      self(), "FindFirstFileW", INVALID_HANDLE_VALUE, {.lastError = kError},
      [&](const wchar_t* pattern, WIN32_FIND_DATAW*) { return pattern == inner + L"\\*"; });
  EXPECT_FALSE(remove(m_directory));
  EXPECT_THAT(m_faults, ElementsAre(FieldsAre(Kind::ListFailed, kError, inner),
                                    FieldsAre(Kind::NotRemoved, DWORD{ERROR_DIR_NOT_EMPTY}, m_directory)));
  EXPECT_THAT(listTree(m_directory), testing::SizeIs(2));  // inner and its file
}

TEST_F(DirectoryRemoval, LeavesLinksAndTheirTargetsAlone) {
  writeFile(m_tree.appPath() + L"\\foreign", "x");
  m_tree.addFile(L"2.0.0.45\\zuimpl.dll", "x");
  linkDirectory(m_directory + L"\\link", m_tree.appPath());
  EXPECT_FALSE(remove(m_directory));
  EXPECT_THAT(m_faults, ElementsAre(FieldsAre(Kind::ReparsePoint, 0u, m_directory + L"\\link"),
                                    FieldsAre(Kind::NotRemoved, DWORD{ERROR_DIR_NOT_EMPTY}, m_directory)));
  EXPECT_TRUE(fileExists(m_tree.appPath() + L"\\foreign"));
  EXPECT_THAT(listTree(m_directory), ElementsAre(testing::Pair(L"link", "link")));
}

// A removed directory does not turn the whole into a success when something inside stayed.
TEST_F(DirectoryRemoval, RemembersAFaultWhenTheDirectoryGoesAllTheSame) {
  makeDirectories(m_directory);
  const ScriptedListing script(
      {{m_directory + L"\\*",
        {{L"link", FILE_ATTRIBUTE_REPARSE_POINT}, {L"file"}, {L"last", FILE_ATTRIBUTE_DIRECTORY}}},
       {m_directory + L"\\last\\*", {{L"."}, {L".."}}}});
  FailingImport<decltype(DeleteFileW)> deleted(self(), "DeleteFileW", TRUE, {});
  FailingImport<decltype(RemoveDirectoryW)> removed(self(), "RemoveDirectoryW", TRUE, {},
                                                    [&](const wchar_t* path) { return path != m_directory; });
  EXPECT_FALSE(remove(m_directory));
  EXPECT_THAT(m_faults, ElementsAre(FieldsAre(Kind::ReparsePoint, 0u, m_directory + L"\\link")));
  EXPECT_FALSE(directoryExists(m_directory));
  EXPECT_EQ(deleted.calls(), 1u);
  EXPECT_EQ(removed.calls(), 1u);
}

TEST_F(DirectoryRemoval, GoesOnAfterAFileThatCannotBeDeleted) {
  m_tree.addFile(L"2.0.0.45\\a", "x");
  const std::wstring held = m_tree.addFile(L"2.0.0.45\\b", "x");
  m_tree.addFile(L"2.0.0.45\\c", "x");
  SecondProcess second;
  second.holdFile(held);
  EXPECT_FALSE(remove(m_directory));
  EXPECT_THAT(m_faults, ElementsAre(FieldsAre(Kind::FileNotDeleted, DWORD{ERROR_SHARING_VIOLATION}, held),
                                    FieldsAre(Kind::NotRemoved, DWORD{ERROR_DIR_NOT_EMPTY}, m_directory)));
  second.releaseFiles();
  EXPECT_THAT(listTree(m_directory), ElementsAre(testing::Key(L"b")));
}

TEST_F(DirectoryRemoval, ReportsEveryParentOfWhatStays) {
  const std::wstring held = m_tree.addFile(L"2.0.0.45\\one\\two\\file", "x");
  SecondProcess second;
  second.holdFile(held);
  EXPECT_FALSE(remove(m_directory));
  EXPECT_THAT(m_faults,
              ElementsAre(FieldsAre(Kind::FileNotDeleted, testing::_, held),
                          FieldsAre(Kind::NotRemoved, DWORD{ERROR_DIR_NOT_EMPTY}, m_directory + L"\\one\\two"),
                          FieldsAre(Kind::NotRemoved, DWORD{ERROR_DIR_NOT_EMPTY}, m_directory + L"\\one"),
                          FieldsAre(Kind::NotRemoved, DWORD{ERROR_DIR_NOT_EMPTY}, m_directory)));
}

TEST_F(DirectoryRemoval, ReportsADirectoryThatCannotBeRemovedAsItWasGiven) {
  makeDirectories(m_directory);
  FailingImport<decltype(RemoveDirectoryW)> failing(self(), "RemoveDirectoryW", FALSE, {.lastError = kError});
  EXPECT_FALSE(remove(m_directory + L"\\"));
  EXPECT_THAT(m_faults, ElementsAre(FieldsAre(Kind::NotRemoved, kError, m_directory + L"\\")));
}

TEST_F(DirectoryRemoval, ClosesEveryListingBeforeItsDirectoryGoes) {
  makeDirectories(m_directory);
  const ScriptedListing script(
      {{m_directory + L"\\*", {{L"inner", FILE_ATTRIBUTE_DIRECTORY}}}, {m_directory + L"\\inner\\*", {{L"."}}}});
  std::vector<std::pair<std::wstring, std::size_t>> removed;  // and how many listings were open then
  ImportHook<decltype(RemoveDirectoryW)> hook(self(), "RemoveDirectoryW", [&](auto*, const wchar_t* path) -> BOOL {
    removed.emplace_back(path, script.begun() - script.closed());
    return TRUE;
  });
  EXPECT_TRUE(remove(m_directory));
  EXPECT_THAT(removed, ElementsAre(testing::Pair(m_directory + L"\\inner", 1u), testing::Pair(m_directory, 0u)));
}

TEST_F(DirectoryRemoval, LeavesNoHandleOpen) {
  m_tree.addFile(L"2.0.0.45\\one\\file", "x");
  remove(m_directory);
  m_tree.addFile(L"2.0.0.45\\one\\file", "x");
  const HandleCheck check;
  EXPECT_TRUE(remove(m_directory));
}

TEST_F(DirectoryRemoval, WithTheCheckTakesAMissingDirectoryAsRemoved) {
  EXPECT_TRUE(remove(m_directory, RemovalCheck::PlainDirectory));
  EXPECT_THAT(m_faults, IsEmpty());
}

TEST_F(DirectoryRemoval, WithTheCheckLeavesAFileAlone) {
  const std::wstring file = m_tree.addFile(L"2.0.0.45", "x");
  EXPECT_FALSE(remove(file, RemovalCheck::PlainDirectory));
  EXPECT_THAT(m_faults, ElementsAre(FieldsAre(Kind::NotPlainDirectory, 0u, file)));
  EXPECT_EQ(m_attributes, GetFileAttributesW(file.c_str()));
  EXPECT_TRUE(fileExists(file));
}

TEST_F(DirectoryRemoval, WithTheCheckLeavesALinkAlone) {
  writeFile(m_tree.appPath() + L"\\foreign", "x");
  linkDirectory(m_directory, m_tree.appPath());
  EXPECT_FALSE(remove(m_directory, RemovalCheck::PlainDirectory));
  EXPECT_THAT(m_faults, ElementsAre(FieldsAre(Kind::NotPlainDirectory, 0u, m_directory)));
  EXPECT_EQ(m_attributes & 0x410, 0x410u);
  EXPECT_TRUE(fileExists(m_tree.appPath() + L"\\foreign"));
}

TEST_F(DirectoryRemoval, WithTheCheckRemovesTheWholeTree) {
  m_tree.addFile(L"2.0.0.45\\one\\two\\file", "x");
  EXPECT_TRUE(remove(m_directory, RemovalCheck::PlainDirectory));
  EXPECT_THAT(m_faults, IsEmpty());
  EXPECT_FALSE(directoryExists(m_directory));
}

}  // namespace
}  // namespace zuvia::test
