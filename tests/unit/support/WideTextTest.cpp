#include "support/WideText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::Not;

TEST(WideText, ConvertsBothWays) {
  const std::wstring wide = L"a \u00e4 \u4e2d \U0001F600";
  EXPECT_EQ(toUtf8(wide), "a \xc3\xa4 \xe4\xb8\xad \xf0\x9f\x98\x80");
  EXPECT_EQ(toWide(toUtf8(wide)), wide);
  EXPECT_EQ(toUtf8(L""), "");
  EXPECT_EQ(toWide(""), L"");
}

TEST(WideText, PrintsAsItReads) {
  EXPECT_EQ(testing::PrintToString(WideText(L"C:\\\u4e2d, error: 5")), "\"C:\\\xe4\xb8\xad, error: 5\"");
  EXPECT_EQ(testing::PrintToString(std::vector<WideText>{L"one", L"two"}), "{ \"one\", \"two\" }");
}

TEST(WideText, ComparesWithWideTexts) {
  const std::vector<WideText> texts{L"one", L"two"};
  EXPECT_THAT(texts, ElementsAre(L"one", std::wstring(L"two")));
  EXPECT_THAT(texts, Not(ElementsAre(L"two", L"one")));
}

TEST(WideText, MatchesParts) {
  const WideText text = L"Load plugin success, path: x";
  EXPECT_THAT(text, WideHasSubstr(L"plugin"));
  EXPECT_THAT(text, Not(WideHasSubstr(L"Plugin")));
  EXPECT_THAT(text, WideStartsWith(L"Load "));
  EXPECT_THAT(text, Not(WideStartsWith(L"oad")));
  EXPECT_THAT(text, WideEndsWith(L"path: x"));
  EXPECT_THAT(text, Not(WideEndsWith(L"path: ")));
}

}  // namespace
}  // namespace zuvia::test
