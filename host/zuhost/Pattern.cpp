#include "Pattern.h"

#include <algorithm>

#include "Text.h"

namespace zuhost {

bool matches(std::string_view pattern, std::string_view text) {
  const std::u32string wanted = codePointsOf(pattern);
  const std::u32string given = codePointsOf(text);
  size_t at = 0;                                // in the pattern
  size_t reached = 0;                           // in the text
  size_t lastStar = std::u32string_view::npos;  // in the pattern, and how much of the text it stands for
  size_t starEnd = 0;
  while (reached < given.size()) {
    if (at < wanted.size() && wanted[at] == U'*') {
      lastStar = at++;
      starEnd = reached;
    } else if (at < wanted.size() && (wanted[at] == U'?' || wanted[at] == given[reached])) {
      ++at;
      ++reached;
    } else if (lastStar != std::u32string_view::npos) {
      at = lastStar + 1;
      reached = ++starEnd;
    } else {
      return false;
    }
  }
  return wanted.find_first_not_of(U'*', at) == std::u32string::npos;
}

std::string patternFor(std::string_view text) {
  std::u32string pattern = codePointsOf(text);
  const auto isInconvenient = [](char32_t c) { return c < U' ' || c == 0x7F || c == U'*'; };
  std::ranges::replace_if(pattern, isInconvenient, U'?');
  if (pattern.starts_with(U' ')) pattern[0] = U'?';
  return utf8OfCodePoints(pattern);
}

}  // namespace zuhost
