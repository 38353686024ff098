#include "shared/Share.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

#include "shared/CommandLine.h"
#include "shared/Utf8.h"

namespace zuvia::tools {
namespace {

constexpr double kHundredths = 10'000;  // of a percent, in everybody
constexpr std::size_t kDecimals = 2;
constexpr std::size_t kMaxWholeDigits = 3;
constexpr std::uint32_t kMultiplier = 0x5bd1e995;

[[noreturn]] void refuse(const std::string& shown) {
  throw Failure("not a share of the users: " + shown + "; from 0 to 100, with at most two decimals");
}

// Nothing when it is no share.
std::optional<std::uint32_t> hundredthsOf(double percent) {
  constexpr double kRounding = 1e-6;
  const double hundredths = percent * 100;
  const double whole = std::round(hundredths);
  const bool isShare = whole >= 0 && whole <= kHundredths && std::abs(hundredths - whole) < kRounding;
  return isShare ? std::optional(static_cast<std::uint32_t>(whole)) : std::nullopt;
}

bool isNumber(std::string_view text, std::size_t maxDigits) {
  const auto isDigit = [](char digit) { return digit >= '0' && digit <= '9'; };
  return !text.empty() && text.size() <= maxDigits && std::ranges::all_of(text, isDigit);
}

std::uint32_t byteAt(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}

std::uint32_t mixed(std::uint32_t word) {
  word *= kMultiplier;
  word ^= word >> 24;
  return word * kMultiplier;
}

// MurmurHash2, seeded with 0.
std::uint32_t hashOf(std::string_view text) {
  auto hash = static_cast<std::uint32_t>(text.size());
  for (; text.size() >= 4; text.remove_prefix(4)) {
    const std::uint32_t word = byteAt(text, 0) | byteAt(text, 1) << 8 | byteAt(text, 2) << 16 | byteAt(text, 3) << 24;
    hash = hash * kMultiplier ^ mixed(word);
  }
  for (std::size_t index = text.size(); index > 0; --index) hash ^= byteAt(text, index - 1) << (8 * (index - 1));
  if (!text.empty()) hash *= kMultiplier;
  hash ^= hash >> 13;
  hash *= kMultiplier;
  return hash ^ hash >> 15;
}

}  // namespace

Share Share::parse(std::string_view percent) {
  const std::size_t point = percent.find('.');
  const std::string_view whole = percent.substr(0, point);
  const std::string_view decimals = point == std::string_view::npos ? "0" : percent.substr(point + 1);
  if (!isNumber(whole, kMaxWholeDigits) || !isNumber(decimals, kDecimals)) refuse(quoted(percent));
  std::string digits = std::string(whole) += decimals;
  digits.append(kDecimals - decimals.size(), '0');
  const auto hundredths = static_cast<std::uint32_t>(std::stoul(digits));
  if (hundredths > kEverybody) refuse(quoted(percent));
  return Share(hundredths);
}

Share Share::ofPercent(double percent) {
  const std::optional<std::uint32_t> hundredths = hundredthsOf(percent);
  if (hundredths) return Share(*hundredths);
  std::array<char, 32> text{};
  std::to_chars(text.data(), text.data() + text.size() - 1, percent);
  refuse(text.data());
}

bool Share::includes(std::string_view key) const {
  const std::uint64_t limit = std::uint64_t{hundredths_} * std::numeric_limits<std::uint32_t>::max() / kEverybody;
  return isEverybody() || hashOf(key) < limit;
}

std::string Share::text() const {
  std::string text = std::to_string(hundredths_ / 100);
  const std::uint32_t rest = hundredths_ % 100;
  if (rest == 0) return text;
  text += "." + std::to_string(rest / 10);
  return rest % 10 == 0 ? text : text + std::to_string(rest % 10);
}

}  // namespace zuvia::tools
