#include "shared/PendingFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../TemporaryTree.h"
#include "platform/Handles.h"
#include "shared/CommandLine.h"
#include "shared/Utf8.h"

namespace zuvia::tools {
namespace {

using test::TemporaryTree;
using testing::HasSubstr;
using testing::StartsWith;

template <typename Action>
std::string failureOf(Action action) {
  try {
    action();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kBadInput);
    return failure.what();
  }
  return "";
}

TEST(PendingFile, AppearsWhenItIsCommitted) {
  const TemporaryTree tree;
  PendingFile file(tree.path(L"x"));
  EXPECT_TRUE(file.path().wstring().ends_with(L".partial"));
  EXPECT_EQ(file.path().parent_path(), tree.path());
  test::writeFile(file.path().wstring(), "content");
  EXPECT_FALSE(test::fileExists(tree.path(L"x")));
  EXPECT_TRUE(file.commit());
  EXPECT_EQ(test::readFile(tree.path(L"x")), "content");
  EXPECT_EQ(test::listTree(tree.path()).size(), 1u);
}

TEST(PendingFile, GoesAwayWhenItIsNotCommitted) {
  const TemporaryTree tree;
  {
    const PendingFile file(tree.path(L"x"));
    test::writeFile(file.path().wstring(), "content");
  }
  EXPECT_TRUE(test::listTree(tree.path()).empty());
}

TEST(PendingFile, ReplacesOrKeepsWhatIsThere) {
  const TemporaryTree tree;
  EXPECT_TRUE(writeWholeFile(tree.path(L"x"), "first"));
  EXPECT_FALSE(writeWholeFile(tree.path(L"x"), "second", PendingFile::Existing::Keep));
  EXPECT_EQ(test::readFile(tree.path(L"x")), "first");
  EXPECT_TRUE(writeWholeFile(tree.path(L"x"), "third"));
  EXPECT_EQ(test::readFile(tree.path(L"x")), "third");
  EXPECT_EQ(test::listTree(tree.path()).size(), 1u);
}

TEST(PendingFile, NamesTheTargetThatCannotBeWritten) {
  const TemporaryTree tree;
  const std::wstring target = tree.path(L"missing\\x");
  EXPECT_THAT(failureOf([&] { writeWholeFile(target, "content"); }),
              StartsWith("cannot write " + toUtf8(target) + ": "));
}

TEST(PendingFile, LeavesTheOldFileWhenTheNewOneCannotTakeItsPlace) {
  const TemporaryTree tree;
  test::makeDirectories(tree.path(L"x\\y"));
  EXPECT_THAT(failureOf([&] { writeWholeFile(tree.path(L"x"), "content"); }), HasSubstr("cannot write "));
  EXPECT_EQ(test::listTree(tree.path()).size(), 2u) << "nothing but the directories";
}

TEST(ReadWholeFile, ReadsUpToTheLimit) {
  const TemporaryTree tree;
  test::writeFile(tree.path(L"x"), "12345");
  test::writeFile(tree.path(L"empty"), "");
  EXPECT_EQ(readWholeFile(tree.path(L"x"), 5), "12345");
  EXPECT_EQ(readWholeFile(tree.path(L"empty"), 5), "");
  EXPECT_EQ(failureOf([&] { readWholeFile(tree.path(L"x"), 4); }),
            "cannot read " + toUtf8(tree.path(L"x")) + ": longer than 4 bytes");
}

TEST(ReadWholeFile, NamesTheFileThatCannotBeRead) {
  const TemporaryTree tree;
  EXPECT_THAT(failureOf([&] { readWholeFile(tree.path(L"none"), 4); }),
              testing::AllOf(StartsWith("cannot read " + toUtf8(tree.path(L"none")) + ": "), HasSubstr("(error 2)")));
}

}  // namespace
}  // namespace zuvia::tools
