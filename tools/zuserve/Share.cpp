#include "zuserve/Share.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <system_error>

#include "shared/CommandLine.h"
#include "shared/Utf8.h"

namespace zuvia::zuserve {
namespace {

constexpr double kHundredths = 10'000;  // of a percent, in everybody
constexpr std::uint32_t kMultiplier = 0x5bd1e995;

[[noreturn]] void refuse(const std::string& shown) {
  throw tools::Failure("not a share of the users: " + shown + "; from 0 to 100, with at most two decimals");
}

// Nothing when it is no share.
std::optional<std::uint32_t> hundredthsOf(double percent) {
  constexpr double kRounding = 1e-6;
  const double hundredths = percent * 100;
  const double whole = std::round(hundredths);
  const bool isShare = whole >= 0 && whole <= kHundredths && std::abs(hundredths - whole) < kRounding;
  return isShare ? std::optional(static_cast<std::uint32_t>(whole)) : std::nullopt;
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
  double value = 0;
  const char* const last = percent.data() + percent.size();
  const auto [end, error] = std::from_chars(percent.data(), last, value, std::chars_format::fixed);
  const std::optional<std::uint32_t> hundredths = hundredthsOf(value);
  if (error != std::errc() || end != last || !hundredths) refuse(tools::quoted(percent));
  return Share(*hundredths);
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

}  // namespace zuvia::zuserve
