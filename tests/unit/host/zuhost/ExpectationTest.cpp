#include "Expectation.h"

#include <gtest/gtest.h>

#include "Command.h"

namespace zuhost {
namespace {

using Of = Expectation::Of;

std::string errorOf(std::string_view argument) {
  try {
    parseExpectation(argument);
  } catch (const BadCommand& error) {
    return error.what();
  }
  return "no error";
}

TEST(ParseExpectation, TakesTheRestAsThePattern) {
  const Expectation expected = parseExpectation("RESULT  {\"a\": 1}  b ");
  EXPECT_EQ(expected.of, Of::Result);
  EXPECT_EQ(expected.pattern, "{\"a\": 1}  b ");
  EXPECT_EQ(parseExpectation("RESULT").pattern, "");
}

TEST(ParseExpectation, WaitsForEventsAndNotForMessages) {
  EXPECT_EQ(parseExpectation("EVENT x").within, kEventPatience);
  EXPECT_EQ(parseExpectation("LOG x").within.count(), 0);
  EXPECT_EQ(parseExpectation("LOG x").of, Of::Log);
}

TEST(ParseExpectation, WaitsAsLongAsTheLineSays) {
  const Expectation expected = parseExpectation("--within 0x10 EVENT a b");
  EXPECT_EQ(expected.within.count(), 16);
  EXPECT_EQ(expected.of, Of::Event);
  EXPECT_EQ(expected.pattern, "a b");
}

TEST(ParseExpectation, RefusesEverythingElse) {
  EXPECT_EQ(errorOf("result x"), "expect RESULT, EVENT or LOG, not \"result\"");
  EXPECT_EQ(errorOf("--within 5"), "expect RESULT, EVENT or LOG, not \"\"");
  EXPECT_EQ(errorOf("--within x LOG a"), "not a number from 0 to 2147483647: x");
  EXPECT_EQ(errorOf("--within 5 RESULT a"), "--within is for EVENT and LOG: a result is there");
}

}  // namespace
}  // namespace zuhost
