#include "shared/Utf8.h"

#include <gtest/gtest.h>

namespace zuvia::tools {
namespace {

TEST(Utf8, ConvertsBothWaysWithoutLoss) {
  const std::string text = "a\u00E4\u6F22\U0001F600";
  EXPECT_EQ(toWide(text), L"a\u00E4\u6F22\U0001F600");
  EXPECT_EQ(toUtf8(toWide(text)), text);
  EXPECT_EQ(toWide(""), L"");
}

TEST(Utf8, PutsTheReplacementCharacterWhereThereIsNoText) {
  EXPECT_EQ(toUtf8(std::wstring(1, L'\xD800')), "\uFFFD");
  EXPECT_EQ(toWide("\xFF"), L"\uFFFD");
}

TEST(Utf8, ShowsPathsWithBackslashes) {
  EXPECT_EQ(pathText(L"a/b\\\u00E4"), "a\\b\\\u00E4");
}

TEST(Printable, KeepsText) {
  EXPECT_EQ(printable("C:\\a b \u00E4\u6F22\U0001F600"), "C:\\a b \u00E4\u6F22\U0001F600");
}

TEST(Printable, EscapesControlCharacters) {
  EXPECT_EQ(printable(std::string("a\n\x1b[31m\0\x7f", 9)), "a\\x0a\\x1b[31m\\x00\\x7f");
  EXPECT_EQ(printable("\u0085"), "\\xc2\\x85") << "a control character of the upper half";
}

TEST(Printable, EscapesWhatTurnsOrBreaksALine) {
  EXPECT_EQ(printable("\u202E"), "\\xe2\\x80\\xae");
  EXPECT_EQ(printable("\u2028"), "\\xe2\\x80\\xa8");
}

TEST(Printable, EscapesWhatIsNotUtf8) {
  EXPECT_EQ(printable("\xE4x"), "\\xe4x");
  EXPECT_EQ(printable("\xC0\xAF"), "\\xc0\\xaf") << "longer than need be";
  EXPECT_EQ(printable("\xED\xA0\x80"), "\\xed\\xa0\\x80") << "half a pair";
  EXPECT_EQ(printable("\xF4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80") << "beyond the last character";
  EXPECT_EQ(printable("\xE6\xBC"), "\\xe6\\xbc") << "cut off";
}

TEST(Quoted, EscapesQuotesAndBackslashes) {
  EXPECT_EQ(quoted("a\"b\\c\n"), "\"a\\\"b\\\\c\\x0a\"");
}

}  // namespace
}  // namespace zuvia::tools
