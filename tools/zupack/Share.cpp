#include "zupack/Share.h"

#include <algorithm>
#include <string_view>

#include "shared/CommandLine.h"
#include "shared/Utf8.h"

namespace zuvia::zupack {
namespace {

constexpr std::size_t kDecimals = 2;
constexpr std::size_t kMaxWholeDigits = 3;

bool isDigits(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, [](char digit) { return digit >= '0' && digit <= '9'; });
}

}  // namespace

Share Share::parse(const std::string& percent) {
  const std::string refusal =
      "--share must be a percentage from 0 to 100 with at most two decimals, but is " + tools::quoted(percent);
  const std::size_t point = percent.find('.');
  const std::string whole = percent.substr(0, point);
  std::string decimals = point == std::string::npos ? "0" : percent.substr(point + 1);
  if (!isDigits(whole) || !isDigits(decimals) || whole.size() > kMaxWholeDigits || decimals.size() > kDecimals) {
    throw tools::Failure(refusal);
  }
  decimals.resize(kDecimals, '0');
  Share share;
  share.hundredths_ = std::stoi(whole + decimals);
  if (share.hundredths_ > kEverybody) throw tools::Failure(refusal);
  return share;
}

std::string Share::text() const {
  std::string text = std::to_string(hundredths_ / 100);
  const int rest = hundredths_ % 100;
  if (rest == 0) return text;
  text += '.' + std::to_string(rest / 10);
  return rest % 10 == 0 ? text : text + std::to_string(rest % 10);
}

}  // namespace zuvia::zupack
