#include "zupack/PackageContent.h"

#include <gtest/gtest.h>

#include "../TemporaryTree.h"
#include "shared/CommandLine.h"
#include "shared/Utf8.h"

namespace zuvia::zupack {
namespace {

// What is said about a package with files of these names.
std::string faultOf(const std::vector<std::string>& names) {
  const test::TemporaryTree tree;
  test::writeFile(tree.path(L"x"), "content");
  std::vector<PackageFile> files;
  for (const std::string& name : names) files.push_back({name, tree.path(L"x")});
  try {
    checkContent(files);
  } catch (const tools::Failure& failure) {
    return failure.what();
  }
  return "";
}

TEST(Addition, StandsAtTheRootUnderItsOwnName) {
  const PackageFile file = parseAddition("dir\\sub/\u00E4.txt");
  EXPECT_EQ(file.name, "\u00E4.txt");
  EXPECT_EQ(file.file, L"dir\\sub/\u00E4.txt");
}

TEST(Addition, StandsUnderTheGivenName) {
  const PackageFile file = parseAddition("sub\\deep/x.txt=C:\\a=b.txt");
  EXPECT_EQ(file.name, "sub/deep/x.txt");
  EXPECT_EQ(file.file, L"C:\\a=b.txt");
}

TEST(PackageContent, AcceptsOrdinaryNames) {
  EXPECT_EQ(
      faultOf({"zuimpl.dll", "sub/x.txt", "sub/deep/x.txt", "a..b", ".hidden", "console", "com", "\u6F22 \u00E4"}), "");
  EXPECT_EQ(faultOf({std::string(260, 'x')}), "");
}

TEST(PackageContent, RefusesNamesThatHostsRefuse) {
  for (const std::string name : {"", "/x", "../x", "a/../b", "c:x", "c:/x"}) {
    EXPECT_EQ(faultOf({name}), "not a legal name in a package: \"" + name + "\"");
  }
  EXPECT_NE(faultOf({std::string(261, 'x')}), "");
}

TEST(PackageContent, RefusesNamesThatWindowsDoesNotTake) {
  for (const std::string name : {"a/", "a//b", "./a", "a.", "a ", "a./b", "a?b", "a*", "a<b", "a|b", "a:b", "nul",
                                 "NUL.txt", "sub/Con", "com1", "LPT9.log", "a\tb"}) {
    EXPECT_EQ(faultOf({name}), "not a legal name in a package: " + tools::quoted(name));
  }
}

TEST(PackageContent, RefusesNamesThatMeet) {
  EXPECT_EQ(faultOf({"zuimpl.dll", "ZUIMPL.DLL"}), "twice in the package: \"ZUIMPL.DLL\"");
  EXPECT_EQ(faultOf({"\u00E4", "\u00C4"}), "twice in the package: \"\u00C4\"");
  EXPECT_EQ(faultOf({"A", "a-", "a/b"}), "a file and a directory in the package: \"A\"");
}

TEST(PackageContent, RefusesWhatIsNoFile) {
  const test::TemporaryTree tree;
  EXPECT_THROW(checkContent({{"x", tree.path()}}), tools::Failure);
  EXPECT_THROW(checkContent({{"x", tree.path(L"none")}}), tools::Failure);
}

TEST(PackageContent, KeepsToTheSizeLimits) {
  const test::TemporaryTree tree;
  for (const wchar_t* name : {L"half", L"more", L"whole"}) test::writeFile(tree.path(name), "");
  std::filesystem::resize_file(tree.path(L"half"), 52'428'800);
  std::filesystem::resize_file(tree.path(L"more"), 52'428'801);
  std::filesystem::resize_file(tree.path(L"whole"), 104'857'600);
  EXPECT_NO_THROW(checkContent({{"a", tree.path(L"whole")}}));
  EXPECT_NO_THROW(checkContent({{"a", tree.path(L"half")}, {"b", tree.path(L"half")}}));
  EXPECT_THROW(checkContent({{"a", tree.path(L"half")}, {"b", tree.path(L"more")}}), tools::Failure);
  std::filesystem::resize_file(tree.path(L"whole"), 104'857'601);
  EXPECT_THROW(checkContent({{"a", tree.path(L"whole")}}), tools::Failure);
}

}  // namespace
}  // namespace zuvia::zupack
