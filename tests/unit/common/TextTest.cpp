#include "common/Text.h"

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "support/ImportHook.h"
#include "support/WideText.h"

namespace zuvia {
namespace {

using test::ImportHook;
using test::WideText;

// Counts the conversions of this program, and can make them fail.
class Conversions {
 public:
  int toWide = 0;
  int toNarrow = 0;
  int failFrom = 1 << 30;  // the first conversion of UTF-8 to UTF-16 that fails, counted from 1
  int utf8 = 0;

 private:
  ImportHook<decltype(MultiByteToWideChar)> wideHook_{
      GetModuleHandleW(nullptr), "MultiByteToWideChar",
      [this](auto* original, UINT page, DWORD flags, const char* text, int size, wchar_t* out, int outSize) {
        ++toWide;
        if (page == CP_UTF8) {
          EXPECT_EQ(flags, 8U);
          if (++utf8 >= failFrom) {
            return 0;
          }
        } else {
          EXPECT_EQ(page, 0U);
          EXPECT_EQ(flags, 0U);
        }
        return original(page, flags, text, size, out, outSize);
      }};
  ImportHook<decltype(WideCharToMultiByte)> narrowHook_{
      GetModuleHandleW(nullptr), "WideCharToMultiByte",
      [this](auto* original, UINT page, DWORD flags, const wchar_t* text, int size, char* out, int outSize,
             const char* substitute, BOOL* used) {
        ++toNarrow;
        EXPECT_EQ(page, 0U);
        EXPECT_EQ(flags, 0U);
        EXPECT_EQ(substitute, nullptr);
        EXPECT_EQ(used, nullptr);
        return original(page, flags, text, size, out, outSize, substitute, used);
      }};
};

// The others mean something only where this holds.
TEST(Text, IsTestedInTheCodePageThatWasAskedFor) {
  const char* const wanted = std::getenv("ZUVIA_TEST_CODE_PAGE");
  EXPECT_EQ(std::to_string(GetACP()), wanted == nullptr ? "1252" : wanted);
}

TEST(Text, AsciiSurvivesEveryConversion) {
  EXPECT_EQ(WideText(AnsiToWide("C:\\dir\\zuimpl.dll 1.0")), L"C:\\dir\\zuimpl.dll 1.0");
  EXPECT_EQ(WideToAnsi(L"C:\\dir\\zuimpl.dll 1.0"), "C:\\dir\\zuimpl.dll 1.0");
  EXPECT_EQ(WideText(Utf8ToWide("C:\\dir\\zuimpl.dll 1.0")), L"C:\\dir\\zuimpl.dll 1.0");
}

TEST(Text, OneCharacterIsAText) {
  EXPECT_EQ(WideText(AnsiToWide("a")), L"a");
  EXPECT_EQ(WideToAnsi(L"a"), "a");
  EXPECT_EQ(WideText(Utf8ToWide("a")), L"a");
}

TEST(Text, EmptyTextIsNotConvertedAtAll) {
  Conversions conversions;
  EXPECT_EQ(WideText(AnsiToWide("")), L"");
  EXPECT_EQ(WideToAnsi(L""), "");
  EXPECT_EQ(WideText(Utf8ToWide("")), L"");
  EXPECT_EQ(conversions.toWide + conversions.toNarrow, 0);
}

TEST(Text, NothingButATerminatorIsMeasuredAndNotConverted) {
  Conversions conversions;
  EXPECT_EQ(WideText(AnsiToWide(std::string(1, '\0'))), L"");
  EXPECT_EQ(conversions.toWide, 1);
  EXPECT_EQ(WideToAnsi(std::wstring(1, L'\0')), "");
  EXPECT_EQ(conversions.toNarrow, 1);
}

TEST(Text, ATextEndsAtItsFirstTerminator) {
  EXPECT_EQ(WideText(AnsiToWide(std::string("ab\0cd", 5))), L"ab");
  EXPECT_EQ(WideToAnsi(std::wstring(L"ab\0cd", 5)), "ab");
  EXPECT_EQ(WideText(Utf8ToWide(std::string("ab\0cd", 5))), L"ab");
}

TEST(Text, Utf8IsReadAsUtf8) {
  EXPECT_EQ(WideText(Utf8ToWide("\xC3\xA9\xE6\x96\x87\xF0\x9F\x8E\xA5")), L"\u00E9\u6587\U0001F3A5");
}

TEST(Text, InvalidUtf8IsReadInTheAnsiCodePage) {
  for (const char* text : {"\xE9t\xE9", "\xFF", "a\xC3", "\xED\xA0\x80"}) {
    EXPECT_EQ(WideText(Utf8ToWide(text)), WideText(AnsiToWide(text)));
    EXPECT_FALSE(Utf8ToWide(text).empty());
  }
}

TEST(Text, Utf8WhoseSecondConversionFailsIsReadInTheAnsiCodePage) {
  const WideText ansi = AnsiToWide("\xC3\xA9");
  Conversions conversions;
  conversions.failFrom = 2;
  EXPECT_EQ(WideText(Utf8ToWide("\xC3\xA9")), ansi);
  EXPECT_EQ(conversions.utf8, 2);
}

TEST(Text, AnsiTextComesBackTheSame) {
  if (GetACP() == CP_UTF8) {
    GTEST_SKIP() << "The ANSI code page is UTF-8: single bytes from 0x80 on are no text";
  }
  const std::string narrow = GetACP() == 936 ? "\xC4\xE3\xBA\xC3" : "\xE9\xFC";
  const std::wstring wide = AnsiToWide(narrow);
  EXPECT_EQ(wide.size(), 2U);
  EXPECT_EQ(WideToAnsi(wide), narrow);
}

TEST(Text, WhatTheCodePageLacksBecomesTheSystemsDefaultCharacter) {
  if (GetACP() != 1252) {
    GTEST_SKIP() << "Only code page 1252 is known to lack this character";
  }
  EXPECT_EQ(WideToAnsi(L"a\u6587b"), "a?b");
}

TEST(Text, AConversionThatFailsGivesNothing) {
  ImportHook<decltype(MultiByteToWideChar)> toWide(
      GetModuleHandleW(nullptr), "MultiByteToWideChar",
      [](auto*, UINT, DWORD, const char*, int, wchar_t*, int) { return 0; });
  ImportHook<decltype(WideCharToMultiByte)> toNarrow(
      GetModuleHandleW(nullptr), "WideCharToMultiByte",
      [](auto*, UINT, DWORD, const wchar_t*, int, char*, int, const char*, BOOL*) { return 0; });
  EXPECT_TRUE(AnsiToWide("text").empty());
  EXPECT_TRUE(Utf8ToWide("text").empty());
  EXPECT_TRUE(WideToAnsi(L"text").empty());
}

}  // namespace
}  // namespace zuvia
