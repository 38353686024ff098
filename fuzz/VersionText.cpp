#include "common/VersionText.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "Targets.h"
#include "Text.h"

namespace zuvia::fuzz {

namespace {

using Numbers = std::array<unsigned long, 4>;

Numbers numbersOf(const DllCandidate& version) {
  return {version.major, version.minor, version.build, version.revision};
}

// The rule once more, told another way: cut at every dot, then convert.
std::optional<Numbers> expectedOf(std::string_view text) {
  const auto pieces = split(text, '.');
  if (text.size() > 31 || pieces.size() < 3 || pieces.size() > 4) return std::nullopt;
  Numbers numbers = {};
  for (size_t i = 0; i < pieces.size(); ++i) {
    const std::string piece(pieces[i]);
    const bool digits = std::all_of(piece.begin(), piece.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (piece.empty() || piece.size() > 5 || !digits) return std::nullopt;
    numbers[i] = std::stoul(piece);
    if (numbers[i] > 65535) return std::nullopt;
  }
  return numbers;
}

// The version of an accepted text.
std::optional<DllCandidate> read(std::string_view text) {
  const DllCandidate before{L"path", 9, 8, 7, 6};
  DllCandidate version = before;
  const bool accepted = parseUpdateVersion(text, version);
  const auto expected = expectedOf(text);
  require(accepted == expected.has_value(), "3 or 4 numbers of 1 to 5 digits, at most 65535, in 31 characters");
  require(numbersOf(version) == expected.value_or(numbersOf(before)), "its numbers, or those before");
  require(version.path == before.path, "the path is left alone");
  return accepted ? std::optional(version) : std::nullopt;
}

std::wstring widened(const std::string& text) {
  return {text.begin(), text.end()};
}

void checkTexts(const DllCandidate& version) {
  const std::string whole = candidateVersionString(version);
  const std::string brief = candidateShortVersionString(version);
  require(isVersionName(widened(whole)), "a version's text names a version directory");
  const auto again = read(whole);
  require(again && isSameVersion(*again, version), "four numbers, read again, stay the same");
  DllCandidate cut = version;
  cut.revision = 0;
  const auto first = read(brief);
  require(first && isSameVersion(*first, cut), "the short text leaves the fourth number out");
}

void checkOrder(const DllCandidate& left, const DllCandidate& right) {
  require(isOlder(left, right) == (numbersOf(left) < numbersOf(right)), "the first number that differs decides");
  require(isOlder(right, left) == (numbersOf(right) < numbersOf(left)), "and the other way round");
  require(isSameVersion(left, right) == (numbersOf(left) == numbersOf(right)), "all four equal is the same version");
}

}  // namespace

void versionText(std::string_view input) {
  const size_t lineEnd = std::min(input.find('\n'), input.size());
  const auto first = read(input.substr(0, lineEnd));
  const auto second = read(input.substr(std::min(lineEnd + 1, input.size())));
  if (first) checkTexts(*first);
  if (second) checkTexts(*second);
  if (first && second) checkOrder(*first, *second);
}

}  // namespace zuvia::fuzz
