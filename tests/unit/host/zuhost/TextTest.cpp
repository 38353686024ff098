#include "Text.h"

#include <gtest/gtest.h>

namespace zuhost {
namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD";

TEST(Text, ConvertsBetweenUtf16AndUtf8) {
  EXPECT_EQ(utf8Of(L"a\u00FC\u6587\U0001F388"), "a\xC3\xBC\xE6\x96\x87\xF0\x9F\x8E\x88");
  EXPECT_EQ(wideOf("a\xC3\xBC\xE6\x96\x87\xF0\x9F\x8E\x88"), L"a\u00FC\u6587\U0001F388");
  EXPECT_EQ(utf8Of(L""), "");
  EXPECT_EQ(wideOf(""), L"");
}

TEST(Text, ReplacesHalfASurrogate) {
  EXPECT_EQ(utf8Of(L"a\xD83Cz"), std::string("a") + kReplacement + "z");
}

TEST(Text, LeavesValidUtf8Alone) {
  for (const char* text : {"", "ascii \x01", "\xC3\xBC", "\xEF\xBF\xBF", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_EQ(validUtf8(text), text);
  }
}

TEST(Text, ReplacesWhatIsNotValidUtf8) {
  for (const char* bytes : {"a\xFFz", "a\x80z", "a\xC0\x80z", "a\xED\xA0\x80z", "a\xF4\x90\x80\x80z", "a\xE6\x96z"}) {
    const std::string text = validUtf8(bytes);
    EXPECT_TRUE(text.starts_with(std::string("a") + kReplacement)) << text;
    EXPECT_EQ(text.back(), 'z');
    EXPECT_EQ(validUtf8(text), text);
  }
  EXPECT_EQ(validUtf8("a\xE6\x96"), std::string("a") + kReplacement);
}

TEST(Text, IsTakenApartIntoCharactersAndPutTogetherAgain) {
  const std::string text = "a\xE6\x96\x87\xF0\x9F\x8C\x8Dz";
  EXPECT_EQ(codePointsOf(text), (std::u32string{U'a', 0x6587, 0x1F30D, U'z'}));
  EXPECT_EQ(utf8OfCodePoints(codePointsOf(text)), text);
  EXPECT_EQ(codePointsOf("\xFF"), std::u32string(1, 0xFFFD));
}

TEST(Text, ReadsTheSystemCodePage) {
  EXPECT_EQ(utf8OfAnsi("ascii"), "ascii");
}

}  // namespace
}  // namespace zuhost
