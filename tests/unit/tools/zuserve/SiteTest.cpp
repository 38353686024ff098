#include "zuserve/Site.h"

#include <gtest/gtest.h>

#include "../TemporaryTree.h"
#include "shared/CommandLine.h"
#include "shared/Utf8.h"
#include "support/Wine.h"

namespace zuvia::zuserve {
namespace {

class SiteTest : public testing::Test {
 protected:
  SiteTest() {
    test::writeFile(tree.path(L"secret.txt"), "secret");
    test::writeFile(tree.path(L"site\\a.txt"), "hello");
    test::writeFile(tree.path(L"site\\empty"), "");
    test::writeFile(tree.path(L"site\\sub\\\u00E4 \u6F22.txt"), "deep");
  }

  // Links that were made on the Linux side are removed there.
  ~SiteTest() override { test::removeThroughLinux(tree.path()); }

  // The content at a path; "-" when there is nothing.
  std::string contentAt(std::string_view path) const {
    const std::optional<SiteFile> file = Site(tree.path(L"site")).open(path);
    if (!file) return "-";
    std::string content(static_cast<std::size_t>(file->size()) + 1, '\0');
    content.resize(file->read(0, content));
    return content;
  }

  const test::TemporaryTree tree;
  const test::TemporaryTree outside;
};

TEST_F(SiteTest, OpensItsFiles) {
  EXPECT_EQ(contentAt("/a.txt"), "hello");
  EXPECT_EQ(contentAt("/empty"), "");
  EXPECT_EQ(contentAt("/sub/\u00E4 \u6F22.txt"), "deep");
}

TEST_F(SiteTest, OpensNothingButFiles) {
  for (const char* path : {"", "/", "a.txt", "/sub", "/sub/", "/none", "/none/a.txt", "/a.txt/", "/a.txt/x"}) {
    EXPECT_EQ(contentAt(path), "-") << path;
  }
}

TEST_F(SiteTest, OpensNothingOutsideItself) {
  for (const char* path :
       {"/../secret.txt", "/sub/../../secret.txt", "/sub/../a.txt", "/./a.txt", "//a.txt", "/..\\secret.txt",
        "/sub\\..\\a.txt", "\\a.txt", "/..", "/C:/windows/win.ini", "/c:\\windows\\win.ini"}) {
    EXPECT_EQ(contentAt(path), "-") << path;
  }
  EXPECT_EQ(contentAt(std::string_view("/a.txt\0", 7)), "-");
}

TEST_F(SiteTest, TakesNamesOnlyAsTheListingShowsThem) {
  for (const char* path : {"/A.TXT", "/a.txt.", "/a.txt ", "/a.txt::$DATA", "/a.txt:x", "/nul", "/sub/nul", "/con",
                           "/a*", "/?.txt", "/a.tx\xff"}) {
    EXPECT_EQ(contentAt(path), "-") << path;
  }
}

TEST_F(SiteTest, FollowsNoLink) {
  test::writeFile(outside.path(L"a.txt"), "secret");
  test::makeDirectoryLink(tree.path(L"site\\link"), outside.path());
  ASSERT_TRUE(test::directoryExists(tree.path(L"site\\link")));
  EXPECT_EQ(contentAt("/link/a.txt"), "-");
}

// Made on the Linux side, such a link looks like a plain file to programs.
TEST_F(SiteTest, FollowsNoLinkThatLooksLikeAFile) {
  if (!test::runsUnderWine()) GTEST_SKIP() << "there every link shows";
  test::writeFile(outside.path(L"a.txt"), "secret");
  const std::wstring link = tree.path(L"site\\link.txt");
  test::runLinuxProgram(L"/bin/ln", {L"-s", test::linuxPath(outside.path(L"a.txt")), test::linuxPath(link)});
  for (int waited = 0; waited < 500 && !test::fileExists(link); ++waited) Sleep(10);
  ASSERT_EQ(test::readFile(link), "secret");
  EXPECT_EQ(contentAt("/link.txt"), "-");
}

TEST_F(SiteTest, MayBeALinkItself) {
  test::writeFile(outside.path(L"a.txt"), "linked");
  test::makeDirectoryLink(tree.path(L"link"), outside.path());
  const std::optional<SiteFile> file = Site(tree.path(L"link")).open("/a.txt");
  ASSERT_TRUE(file);
  EXPECT_EQ(file->size(), 6u);
}

TEST_F(SiteTest, ReadsFromAnOffset) {
  const std::optional<SiteFile> file = Site(tree.path(L"site")).open("/a.txt");
  ASSERT_TRUE(file);
  EXPECT_EQ(file->size(), 5u);
  std::string buffer(2, '\0');
  EXPECT_EQ(file->read(3, buffer), 2u);
  EXPECT_EQ(buffer, "lo");
  EXPECT_EQ(file->read(4, buffer), 1u);
  EXPECT_EQ(file->read(5, buffer), 0u);
}

TEST_F(SiteTest, LetsAFileBeRenamedWhileItIsRead) {
  const std::optional<SiteFile> file = Site(tree.path(L"site")).open("/a.txt");
  ASSERT_TRUE(file);
  EXPECT_NE(MoveFileExW(tree.path(L"site\\a.txt").c_str(), tree.path(L"old.txt").c_str(), 0), FALSE);
  test::writeFile(tree.path(L"site\\a.txt"), "other");
  std::string buffer(5, '\0');
  EXPECT_EQ(file->read(0, buffer), 5u);
  EXPECT_EQ(buffer, "hello");
}

TEST_F(SiteTest, NamesADirectoryThatCannotBeListed) {
  for (const wchar_t* name : {L"none", L"secret.txt"}) {
    try {
      const Site site(tree.path(name));
      ADD_FAILURE() << "no exception";
    } catch (const tools::Failure& failure) {
      EXPECT_EQ(std::string(failure.what()).find("cannot read the directory " + tools::toUtf8(tree.path(name)) + ": "),
                0u);
    }
  }
}

TEST(ContentType, GoesByTheExtension) {
  EXPECT_EQ(contentTypeOf("/x.7z"), "application/x-7z-compressed");
  EXPECT_EQ(contentTypeOf("/a.b/x.json"), "application/json");
  EXPECT_EQ(contentTypeOf("/x.dll"), "application/octet-stream");
  EXPECT_EQ(contentTypeOf("/json"), "application/octet-stream");
}

}  // namespace
}  // namespace zuvia::zuserve
