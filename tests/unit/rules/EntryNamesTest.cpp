#include "updater/EntryNames.h"

#include <string>

#include <gtest/gtest.h>

namespace zuvia {
namespace {

std::string shown(const std::wstring& name) {
  return {name.begin(), name.end()};
}

TEST(EntryNames, NamesBelowADirectoryAreLegal) {
  for (const std::wstring name : {L"zuimpl.dll", L"a/b", L"a\\b", L"./x", L"a//b", L"a...b", L"...", L"a/./b", L"a/",
                                  L"..a", L"a..", L"ab:c", L"x", L".", L"a/.../b"}) {
    EXPECT_TRUE(isLegalEntryName(name)) << shown(name);
  }
}

TEST(EntryNames, NamesThatLeadElsewhereAreIllegal) {
  for (const std::wstring name : {L"", L"..", L"..\\x", L"../x", L"a/../b", L"a\\..\\b", L"a/..", L"a\\..", L"/x",
                                  L"\\x", L"\\\\server\\share", L"c:x", L"c:", L"c:\\x", L"::", L"a/b\\../c"}) {
    EXPECT_FALSE(isLegalEntryName(name)) << shown(name);
  }
}

TEST(EntryNames, MayHave260CharactersAndNoMore) {
  EXPECT_TRUE(isLegalEntryName(std::wstring(1, L'a')));
  EXPECT_TRUE(isLegalEntryName(std::wstring(260, L'a')));
  EXPECT_FALSE(isLegalEntryName(std::wstring(261, L'a')));
}

TEST(EntryNames, TopLevelNamesHaveNoSeparator) {
  EXPECT_TRUE(isTopLevelEntryName(L"zuimpl.dll"));
  EXPECT_FALSE(isTopLevelEntryName(L"bin/zuimpl.dll"));
  EXPECT_FALSE(isTopLevelEntryName(L"bin\\zuimpl.dll"));
  EXPECT_FALSE(isTopLevelEntryName(L"./zuimpl.dll"));
}

TEST(EntryNames, BecomePathsWithBackslashes) {
  EXPECT_EQ(entryPath(L"C:\\p\\1", L"zuimpl.dll"), L"C:\\p\\1\\zuimpl.dll");
  EXPECT_EQ(entryPath(L"C:\\p\\1", L"a/b\\c//d/"), L"C:\\p\\1\\a\\b\\c\\\\d\\");
  EXPECT_EQ(entryPath(L"C:/p", L"a/b"), L"C:/p\\a\\b") << "the directory stays as it is";
}

}  // namespace
}  // namespace zuvia
