#include "Command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>

namespace zuhost {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using std::string_literals::operator""s;

std::string errorOf(std::string_view line) {
  try {
    parseCommand(line);
  } catch (const BadCommand& error) {
    return error.what();
  }
  return "no error";
}

TEST(ParseCommand, TakesTheNameAndItsArguments) {
  const Command command = parseCommand("send echo text");
  EXPECT_EQ(command.name, "send");
  EXPECT_THAT(command.arguments, ElementsAre("echo", "text"));
}

TEST(ParseCommand, GivesTheRestOfTheLineToTheLastArgument) {
  EXPECT_THAT(parseCommand("send setHostInfo {\"a\": 1,  \"b\": 2} ").arguments,
              ElementsAre("setHostInfo", "{\"a\": 1,  \"b\": 2} "));
  EXPECT_THAT(parseCommand("load C:\\Program Files\\x").arguments, ElementsAre("C:\\Program Files\\x"));
  EXPECT_THAT(parseCommand("query IID_IZUPlugin ").arguments, ElementsAre("IID_IZUPlugin "));
  EXPECT_THAT(parseCommand("relay1 1 2 3 4").arguments, ElementsAre("1", "2", "3 4"));
}

TEST(ParseCommand, SplitsAtBlanksAndTabs) {
  EXPECT_THAT(parseCommand("\t send \t echo \t x").arguments, ElementsAre("echo", "x"));
  EXPECT_THAT(parseCommand("unload  \t").arguments, IsEmpty());
}

TEST(ParseCommand, LeavesOptionalArgumentsOut) {
  EXPECT_THAT(parseCommand("load").arguments, IsEmpty());
  EXPECT_THAT(parseCommand("load ").arguments, IsEmpty());
  EXPECT_THAT(parseCommand("send echo ").arguments, ElementsAre("echo"));
}

TEST(ParseCommand, KeepsBytesOutsideAscii) {
  EXPECT_THAT(parseCommand("send echo \xFF\xE6\x96\x87").arguments, ElementsAre("echo", "\xFF\xE6\x96\x87"));
}

TEST(ParseCommand, RefusesWhatIsNoCommand) {
  EXPECT_EQ(errorOf("bogus 1 2"), "unknown command: bogus; help lists them");
  EXPECT_EQ(errorOf("LOAD"), "unknown command: LOAD; help lists them");
  EXPECT_EQ(errorOf("send echo a\0b"s), "a line must not hold a NUL character");
}

TEST(ParseCommand, RefusesAWrongNumberOfArguments) {
  EXPECT_EQ(errorOf("send"), "usage: send CMD [DATA]");
  EXPECT_EQ(errorOf("wait event"), "usage: wait EVENT MS");
  EXPECT_EQ(errorOf("relay1 1 2"), "usage: relay1 A B C");
  EXPECT_EQ(errorOf("unload now"), "usage: unload");
}

TEST(ParseCommand, KnowsEveryCommandOfTheTable) {
  for (const CommandSyntax& syntax : commandTable()) {
    std::string line(syntax.name);
    for (size_t i = 0; i < syntax.required; ++i) line += " x";
    EXPECT_EQ(parseCommand(line).arguments.size(), syntax.required) << line;
  }
}

TEST(NumberIn, ReadsDecimalAndHexadecimal) {
  EXPECT_EQ(numberIn("0", 0), 0U);
  EXPECT_EQ(numberIn("18446744073709551615", UINT64_MAX), UINT64_MAX);
  EXPECT_EQ(numberIn("0xffffFFFFffffFFFF", UINT64_MAX), UINT64_MAX);
  EXPECT_EQ(numberIn("007 \t", 7), 7U);
}

TEST(NumberIn, RefusesEverythingElse) {
  for (const char* text : {"", " ", "-1", "+1", "1x", "1 2", "x", "0x", "0x ", "1.5", "18446744073709551616", " 1"}) {
    EXPECT_THROW(numberIn(text, UINT64_MAX), BadCommand) << text;
  }
  EXPECT_THROW(numberIn("8", 7), BadCommand);
}

TEST(MillisecondsIn, EndAtTheMostThatCanBeWaitedFor) {
  EXPECT_EQ(millisecondsIn("2147483647").count(), 2147483647);
  EXPECT_THROW(millisecondsIn("2147483648"), BadCommand);
}

TEST(TakeWord, CutsWordsOffUntilNothingIsLeft) {
  std::string_view text = "  one \t two";
  EXPECT_EQ(takeWord(text), "one");
  EXPECT_EQ(text, "two");
  EXPECT_EQ(takeWord(text), "two");
  EXPECT_EQ(takeWord(text), "");
}

TEST(HoldsNoCommand, IsSoOfBlanksAndComments) {
  EXPECT_TRUE(holdsNoCommand(""));
  EXPECT_TRUE(holdsNoCommand(" \t"));
  EXPECT_TRUE(holdsNoCommand(" # load"));
  EXPECT_FALSE(holdsNoCommand(" x # y"));
}

}  // namespace
}  // namespace zuhost
