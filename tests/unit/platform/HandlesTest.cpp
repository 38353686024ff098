#include "platform/Handles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include "support/HandleCount.h"
#include "support/InstallTree.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A handle that is a number; closing it is written down and spoils the last error code.
struct NumberTraits {
  using Value = int;
  static Value empty() { return -1; }
  static void close(Value value) {
    closed.push_back(value);
    SetLastError(ERROR_GEN_FAILURE);
  }
  static inline std::vector<int> closed;
};
using Number = UniqueHandle<NumberTraits>;

class UniqueHandleTest : public testing::Test {
 protected:
  UniqueHandleTest() { NumberTraits::closed.clear(); }
  const std::vector<int>& closed() const { return NumberTraits::closed; }
};

TEST_F(UniqueHandleTest, IsEmptyUntilItOwnsSomething) {
  {
    const Number number;
    EXPECT_FALSE(number);
    EXPECT_EQ(number.get(), -1);
  }
  EXPECT_THAT(closed(), IsEmpty());
}

TEST_F(UniqueHandleTest, ClosesWhatItOwnsOnce) {
  {
    const Number number(0);  // 0 is not its empty value
    EXPECT_TRUE(number);
    EXPECT_EQ(number.get(), 0);
    EXPECT_THAT(closed(), IsEmpty());
  }
  EXPECT_THAT(closed(), ElementsAre(0));
}

TEST_F(UniqueHandleTest, MovesWithoutClosing) {
  {
    Number from(7);
    const Number to(std::move(from));
    EXPECT_FALSE(from);  // NOLINT(bugprone-use-after-move): what is left behind is promised
    EXPECT_EQ(to.get(), 7);
    EXPECT_THAT(closed(), IsEmpty());
  }
  EXPECT_THAT(closed(), ElementsAre(7));
}

TEST_F(UniqueHandleTest, ClosesTheOldOneWhenAnotherIsAssigned) {
  Number to(7);
  Number from(8);
  to = std::move(from);
  EXPECT_THAT(closed(), ElementsAre(7));
  EXPECT_EQ(to.get(), 8);
  EXPECT_FALSE(from);  // NOLINT(bugprone-use-after-move)
}

TEST_F(UniqueHandleTest, SurvivesBeingAssignedToItself) {
  Number number(7);
  Number& same = number;
  number = std::move(same);
  EXPECT_EQ(number.get(), 7);
  EXPECT_THAT(closed(), IsEmpty());
}

TEST_F(UniqueHandleTest, GivesItsValueUp) {
  {
    Number number(7);
    EXPECT_EQ(number.release(), 7);
    EXPECT_FALSE(number);
  }
  EXPECT_THAT(closed(), IsEmpty());
}

TEST_F(UniqueHandleTest, IsResetToAnotherValueOrNone) {
  Number number(7);
  number.reset(8);
  EXPECT_THAT(closed(), ElementsAre(7));
  number.reset();
  EXPECT_THAT(closed(), ElementsAre(7, 8));
  number.reset();
  EXPECT_THAT(closed(), ElementsAre(7, 8));
}

TEST_F(UniqueHandleTest, HandsOutItsPlaceEmpty) {
  Number number(7);
  int* const place = number.out();
  EXPECT_EQ(*place, -1);
  EXPECT_THAT(closed(), ElementsAre(7));
  *place = 9;
  EXPECT_EQ(number.get(), 9);
}

TEST_F(UniqueHandleTest, KeepsTheLastErrorCodeWhenItCloses) {
  SetLastError(1234);
  { const Number number(7); }
  EXPECT_THAT(closed(), ElementsAre(7));
  EXPECT_EQ(GetLastError(), 1234u);
}

TEST_F(UniqueHandleTest, CannotBeCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<Number>);
  EXPECT_FALSE(std::is_copy_assignable_v<Number>);
  EXPECT_TRUE(std::is_nothrow_move_constructible_v<Number>);
  EXPECT_TRUE(std::is_nothrow_move_assignable_v<Number>);
}

TEST(Handles, HaveTheEmptyValuesOfTheirCalls) {
  EXPECT_EQ(FileHandle().get(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(FindHandle().get(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(MutexHandle().get(), nullptr);
  EXPECT_EQ(ModuleHandle().get(), nullptr);
  EXPECT_EQ(DllDirectory().get(), nullptr);
  EXPECT_EQ(ThreadpoolWork().get(), nullptr);
  EXPECT_EQ(CryptProvider().get(), HCRYPTPROV{0});
  EXPECT_EQ(CryptHash().get(), HCRYPTHASH{0});
}

TEST(Handles, CloseFilesListingsAndMutexes) {
  const InstallTree tree;
  const std::wstring path = tree.addFile(L"file", "x");
  const HandleCheck check;
  const FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  EXPECT_TRUE(file);
  WIN32_FIND_DATAW data;
  const FindHandle find(FindFirstFileW((tree.root() + L"\\*").c_str(), &data));
  EXPECT_TRUE(find);
  const MutexHandle mutex(CreateMutexW(nullptr, FALSE, nullptr));
  EXPECT_TRUE(mutex);
}

TEST(Handles, FreeModules) {
  const std::wstring path = moduleFile(L"2.0.0.45");
  {
    const ModuleHandle module(LoadLibraryW(path.c_str()));
    EXPECT_TRUE(module);
    EXPECT_NE(GetModuleHandleW(path.c_str()), nullptr);
  }
  EXPECT_EQ(GetModuleHandleW(path.c_str()), nullptr);
}

TEST(Handles, TakeDirectoriesOffTheSearchList) {
  const InstallTree tree;
  copyFile(companionFile(), tree.root() + L"\\zucompanion.dll");
  const auto isFound = [] {
    return static_cast<bool>(ModuleHandle(LoadLibraryExW(L"zucompanion.dll", nullptr, LOAD_LIBRARY_SEARCH_USER_DIRS)));
  };
  {
    const DllDirectory directory(AddDllDirectory(tree.root().c_str()));
    EXPECT_TRUE(isFound());
  }
  EXPECT_FALSE(isFound());
}

}  // namespace
}  // namespace zuvia::test
