#include "Pattern.h"

#include <gtest/gtest.h>

namespace zuhost {
namespace {

TEST(Matches, ComparesTheWholeText) {
  EXPECT_TRUE(matches("2.0.0.45", "2.0.0.45"));
  EXPECT_FALSE(matches("2.0.0.45", "2.0.0.451"));
  EXPECT_FALSE(matches("2.0.0.451", "2.0.0.45"));
  EXPECT_FALSE(matches("Load", "load"));
  EXPECT_TRUE(matches("", ""));
  EXPECT_FALSE(matches("", "a"));
}

TEST(Matches, TakesAStarForAnyCharactersAlsoNone) {
  EXPECT_TRUE(matches("*", ""));
  EXPECT_TRUE(matches("a*", "a"));
  EXPECT_TRUE(matches("*b*", "abc"));
  EXPECT_TRUE(matches("a*c*e", "abcdce"));
  EXPECT_TRUE(matches("*ab", "aab"));
  EXPECT_FALSE(matches("*ab", "aba"));
  EXPECT_FALSE(matches("a*b", "ac"));
  EXPECT_TRUE(matches("**a**", "a"));
}

TEST(Matches, TakesAQuestionMarkForOneCharacterOfAnyLength) {
  EXPECT_TRUE(matches("a?c", "abc"));
  EXPECT_FALSE(matches("a?c", "ac"));
  EXPECT_FALSE(matches("?", ""));
  EXPECT_TRUE(matches("?", "\xE6\x96\x87"));
  EXPECT_TRUE(matches("?", "\xF0\x9F\x8C\x8D"));
  EXPECT_FALSE(matches("??", "\xF0\x9F\x8C\x8D"));
}

TEST(Matches, EndsSoonWithManyStars) {
  EXPECT_FALSE(matches("*a*a*a*a*a*a*a*a*b", std::string(2000, 'a')));
}

TEST(PatternFor, MatchesItsTextOnOneLine) {
  for (const char* text : {"plain", "", " blank first", "a*b?c", "two\nlines\r", "\ttab", "\xE6\x96\x87"}) {
    const std::string pattern = patternFor(text);
    EXPECT_TRUE(matches(pattern, text)) << pattern;
    EXPECT_EQ(pattern.find_first_of("*\r\n\t"), std::string::npos) << pattern;
    EXPECT_FALSE(pattern.starts_with(' ')) << pattern;
  }
  EXPECT_FALSE(matches(patternFor("a*c"), "abbc"));
}

}  // namespace
}  // namespace zuhost
