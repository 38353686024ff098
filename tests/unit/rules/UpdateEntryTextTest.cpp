#include "config/UpdateEntryText.h"

#include <exception>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace zuvia {
namespace {

// A whole entry, so that a test sees what was left alone.
UpdateEntry earlier() {
  return {"1", "2", "3", "4"};
}

TEST(UpdateEntryText, ReadsTheFourMembers) {
  UpdateEntry entry;
  std::string errors;
  EXPECT_TRUE(parseUpdateEntry(R"({"ver":"2.0.0.47","pmd5":"aa","dmd5":"bb","url":"https://x/y"})", entry, errors));
  EXPECT_EQ(entry.ver, "2.0.0.47");
  EXPECT_EQ(entry.pmd5, "aa");
  EXPECT_EQ(entry.dmd5, "bb");
  EXPECT_EQ(entry.url, "https://x/y");
  EXPECT_EQ(errors, "");
}

TEST(UpdateEntryText, ReadsMissingMembersAsEmpty) {
  UpdateEntry entry = earlier();
  std::string errors;
  EXPECT_TRUE(parseUpdateEntry("{}", entry, errors));
  EXPECT_EQ(describe(entry), "[ver: , pmd5: , dmd5:, url: ]");
}

TEST(UpdateEntryText, OverwritesAllMembers) {
  UpdateEntry entry = earlier();
  std::string errors;
  EXPECT_TRUE(parseUpdateEntry(R"({"pmd5":"new"})", entry, errors));
  EXPECT_EQ(describe(entry), "[ver: , pmd5: new, dmd5:, url: ]");
}

TEST(UpdateEntryText, ReadsSimpleValuesOfOtherTypesAsText) {
  UpdateEntry entry;
  std::string errors;
  EXPECT_TRUE(parseUpdateEntry(R"({"ver":2,"pmd5":1.5,"dmd5":true,"url":null})", entry, errors));
  EXPECT_EQ(describe(entry), "[ver: 2, pmd5: 1.5, dmd5:true, url: ]");
}

TEST(UpdateEntryText, TakesTheLastOfDuplicateMembers) {
  UpdateEntry entry;
  std::string errors;
  EXPECT_TRUE(parseUpdateEntry(R"({"ver":"1","ver":"2"})", entry, errors));
  EXPECT_EQ(entry.ver, "2");
}

TEST(UpdateEntryText, ReadsANullAsAnEmptyEntry) {
  UpdateEntry entry = earlier();
  std::string errors;
  EXPECT_TRUE(parseUpdateEntry("null", entry, errors));
  EXPECT_EQ(describe(entry), "[ver: , pmd5: , dmd5:, url: ]");
}

TEST(UpdateEntryText, TellsTheParsersWordsAndLeavesTheEntryAlone) {
  UpdateEntry entry = earlier();
  std::string errors;
  EXPECT_FALSE(parseUpdateEntry("nonsense", entry, errors));
  EXPECT_EQ(errors, "* Line 1, Column 1\n  Syntax error: value, object or array expected.\n");
  EXPECT_EQ(describe(entry), "[ver: 1, pmd5: 2, dmd5:3, url: 4]");
}

TEST(UpdateEntryText, RefusesATruncatedText) {
  UpdateEntry entry = earlier();
  std::string errors;
  EXPECT_FALSE(parseUpdateEntry(R"({"ver":"2.0)", entry, errors));
  EXPECT_NE(errors, "");
  EXPECT_EQ(describe(entry), "[ver: 1, pmd5: 2, dmd5:3, url: 4]");
}

TEST(UpdateEntryText, ThrowsForATextThatIsNoObject) {
  for (const char* const text : {"[]", "\"a\"", "1", "true"}) {
    UpdateEntry entry = earlier();
    std::string errors;
    EXPECT_THROW(parseUpdateEntry(text, entry, errors), std::exception) << text;
    EXPECT_EQ(describe(entry), "[ver: 1, pmd5: 2, dmd5:3, url: 4]") << text;
  }
}

TEST(UpdateEntryText, ThrowsForAMemberThatIsNoTextAndKeepsThoseBefore) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"ver":[],"pmd5":"6","dmd5":"7","url":"8"})", "[ver: 1, pmd5: 2, dmd5:3, url: 4]"},
      {R"({"ver":"5","pmd5":[],"dmd5":"7","url":"8"})", "[ver: 5, pmd5: 2, dmd5:3, url: 4]"},
      {R"({"ver":"5","pmd5":"6","dmd5":[],"url":"8"})", "[ver: 5, pmd5: 6, dmd5:3, url: 4]"},
      {R"({"ver":"5","pmd5":"6","dmd5":"7","url":[]})", "[ver: 5, pmd5: 6, dmd5:7, url: 4]"}};
  for (const auto& [text, kept] : cases) {
    UpdateEntry entry = earlier();
    std::string errors;
    EXPECT_THROW(parseUpdateEntry(text, entry, errors), std::exception);
    EXPECT_EQ(describe(entry), kept);
  }
}

TEST(UpdateEntryText, ThrowsForADepthBeyondTheParsers) {
  UpdateEntry entry = earlier();
  std::string errors;
  EXPECT_THROW(parseUpdateEntry(std::string(10'000, '['), entry, errors), std::exception);
}

TEST(UpdateEntryText, DescribesAnEntryInOneLine) {
  EXPECT_EQ(describe({"2.0.0.47", "aa", "bb", "https://x/y"}), "[ver: 2.0.0.47, pmd5: aa, dmd5:bb, url: https://x/y]");
}

}  // namespace
}  // namespace zuvia
