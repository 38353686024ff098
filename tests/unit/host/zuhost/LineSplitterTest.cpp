#include "LineSplitter.h"

#include <gtest/gtest.h>

namespace zuhost {
namespace {

using std::string_literals::operator""s;

TEST(LineSplitter, JoinsPiecesAndSplitsLines) {
  LineSplitter lines;
  lines.add("fi");
  EXPECT_EQ(lines.next(), std::nullopt);
  lines.add("rst\nsecond\n\nthi");
  EXPECT_EQ(lines.next(), "first");
  EXPECT_EQ(lines.next(), "second");
  EXPECT_EQ(lines.next(), "");
  EXPECT_EQ(lines.next(), std::nullopt);
  lines.add("rd\n");
  EXPECT_EQ(lines.next(), "third");
}

TEST(LineSplitter, TakesOneCarriageReturnBeforeTheLineFeedAway) {
  LineSplitter lines;
  lines.add("a\r\nb\r\r\nc\rd\n\r\ne\r");
  EXPECT_EQ(lines.next(), "a");
  EXPECT_EQ(lines.next(), "b\r");
  EXPECT_EQ(lines.next(), "c\rd");
  EXPECT_EQ(lines.next(), "");
  EXPECT_EQ(lines.next(), std::nullopt);
  lines.add("\n");
  EXPECT_EQ(lines.next(), "e");
}

TEST(LineSplitter, KeepsEveryOtherByte) {
  LineSplitter lines;
  lines.add("\0\x1A\xFF\n"s);
  EXPECT_EQ(lines.next(), "\0\x1A\xFF"s);
}

TEST(LineSplitter, GivesALastLineWithoutAnEndOnce) {
  LineSplitter lines;
  lines.add("a\nb");
  EXPECT_EQ(lines.next(), "a");
  EXPECT_EQ(lines.last(), "b");
  EXPECT_EQ(lines.last(), std::nullopt);
}

}  // namespace
}  // namespace zuhost
