#pragma once

#include <gmock/gmock.h>

#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include "support/Text.h"

namespace zuvia::test {

// A wide text that gtest prints as it reads, in quotation marks, instead of with escapes.
class WideText : public std::wstring {
 public:
  using std::wstring::wstring;
  WideText(std::wstring text) : std::wstring(std::move(text)) {}  // NOLINT(google-explicit-constructor)

  friend void PrintTo(const WideText& text, std::ostream* stream) { *stream << '"' << toUtf8(text) << '"'; }
};

// gmock's own HasSubstr, StartsWith and EndsWith take narrow texts only.

MATCHER_P(WideHasSubstr, part, (negation ? "has no substring \"" : "has the substring \"") + toUtf8(part) + '"') {
  return std::wstring_view(arg).find(part) != std::wstring_view::npos;
}

MATCHER_P(WideStartsWith, part, (negation ? "does not start with \"" : "starts with \"") + toUtf8(part) + '"') {
  return std::wstring_view(arg).starts_with(part);
}

MATCHER_P(WideEndsWith, part, (negation ? "does not end with \"" : "ends with \"") + toUtf8(part) + '"') {
  return std::wstring_view(arg).ends_with(part);
}

}  // namespace zuvia::test
