#include "zuserve/Offer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../TemporaryTree.h"
#include "shared/EntryText.h"

namespace zuvia::zuserve {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class OfferTest : public testing::Test {
 protected:
  void add(const std::wstring& name, const std::string& version, const std::string& url = "https://x") {
    test::writeFile(tree.path(name), tools::entryText({version, "aa", "bb", url}, tools::EntryLayout::Readable));
  }

  Offer read() const { return readOffer(Site(tree.path())); }
  std::string version() const { return read().entry.value_or(UpdateEntry{}).ver; }

  const test::TemporaryTree tree;
};

TEST_F(OfferTest, IsNothingInAnEmptyDirectory) {
  EXPECT_FALSE(read().entry);
  EXPECT_THAT(read().skipped, IsEmpty());
}

TEST_F(OfferTest, IsTheNewestByNumber) {
  add(L"c.json", "2.0.0.9");
  add(L"a.json", "2.0.0.10");
  add(L"b.json", "2.0.0");
  EXPECT_EQ(version(), "2.0.0.10");
  add(L"\u6F22.json", "10.0.0");
  EXPECT_EQ(version(), "10.0.0");
}

TEST_F(OfferTest, IsTheLastByNameOfEqualVersions) {
  add(L"a.json", "2.0.0", "https://first");
  add(L"b.json", "2.0.0.0", "https://last");
  EXPECT_EQ(read().entry->url, "https://last");
}

TEST_F(OfferTest, NamesTheOthersNewestFirst) {
  add(L"a.json", "2.0.0.9");
  add(L"b.json", "2.0.0.10");
  add(L"c.json", "2.0.0.9", "https://last");
  std::vector<std::string> others;
  for (const UpdateEntry& entry : read().others) others.push_back(entry.ver + " " + entry.url);
  EXPECT_THAT(others, ElementsAre("2.0.0.9 https://last", "2.0.0.9 https://x"));
}

TEST_F(OfferTest, IsReadAnewEachTime) {
  const Site site(tree.path());
  add(L"a.json", "2.0.0.1");
  EXPECT_EQ(readOffer(site).entry->ver, "2.0.0.1");
  add(L"b.json", "2.0.0.2");
  EXPECT_EQ(readOffer(site).entry->ver, "2.0.0.2");
}

TEST_F(OfferTest, LooksAtNothingButJsonFilesOfTheDirectoryItself) {
  add(L"a.txt", "2.0.0.1");
  add(L"sub\\a.json", "2.0.0.1");
  add(L"a.json.x.partial", "2.0.0.1");
  test::makeDirectories(tree.path(L"directory.json"));
  EXPECT_FALSE(read().entry);
  EXPECT_THAT(read().skipped, IsEmpty());
}

TEST_F(OfferTest, SaysWhyAFileIsSkipped) {
  add(L"a.json", "2.0.0.1");
  add(L"b.json", "2.0");
  add(L"c.json", "2.0.70000");
  add(L"d.json", "3.0.0", "");
  test::writeFile(tree.path(L"e.json"), "{");
  test::writeFile(tree.path(L"f.json"), "[]");
  test::writeFile(tree.path(L"g.json"), std::string(65'537, ' '));
  EXPECT_EQ(version(), "2.0.0.1");
  EXPECT_THAT(read().skipped,
              ElementsAre("b.json: not a version: 2.0", "c.json: not a version: 2.0.70000",
                          "d.json: ver, pmd5, dmd5 or url is missing", StartsWith("e.json: not valid JSON: "),
                          StartsWith("f.json: not an update entry: "), "g.json: too long for an update entry"));
}

}  // namespace
}  // namespace zuvia::zuserve
