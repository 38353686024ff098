#include "shared/EntryText.h"

#include <gtest/gtest.h>

#include "shared/CommandLine.h"

namespace zuvia::tools {
namespace {

const UpdateEntry kEntry{"2.0.0.47", "aa", "bb", "https://localhost/x.7z"};

std::string failureOf(const std::string& text) {
  try {
    parseEntry(text);
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "";
}

TEST(EntryText, WritesTheFourMembers) {
  EXPECT_EQ(entryText(kEntry, EntryLayout::Compact),
            R"({"dmd5":"bb","pmd5":"aa","url":"https://localhost/x.7z","ver":"2.0.0.47"})");
}

TEST(EntryText, EndsTheReadableLayoutWithALineEnd) {
  EXPECT_EQ(entryText({"1", "2", "3", "4"}, EntryLayout::Readable),
            "{\n  \"dmd5\" : \"3\",\n  \"pmd5\" : \"2\",\n  \"url\" : \"4\",\n  \"ver\" : \"1\"\n}\n");
}

TEST(EntryText, ReadsWhatItWrote) {
  for (const EntryLayout layout : {EntryLayout::Compact, EntryLayout::Readable}) {
    const UpdateEntry read = parseEntry(entryText(kEntry, layout));
    EXPECT_EQ(read.ver, kEntry.ver);
    EXPECT_EQ(read.pmd5, kEntry.pmd5);
    EXPECT_EQ(read.dmd5, kEntry.dmd5);
    EXPECT_EQ(read.url, kEntry.url);
  }
}

TEST(EntryText, ReadsAMissingMemberAsEmpty) {
  EXPECT_EQ(parseEntry(R"({"ver":"1"})").url, "");
}

TEST(EntryText, SaysOnOneLineWhatIsWrong) {
  EXPECT_EQ(failureOf("{\n\"ver\""), "not valid JSON: * Line 2, Column 6 Missing ':' after object member name");
  EXPECT_EQ(failureOf("[]").find("not an update entry: "), 0u);
  EXPECT_EQ(failureOf(R"({"ver":{}})").find("not an update entry: "), 0u);
}

}  // namespace
}  // namespace zuvia::tools
