#include "common/VersionText.h"

#include <array>
#include <charconv>
#include <cstddef>

namespace zuvia {

namespace {

constexpr std::string_view kDigits = "0123456789";
constexpr size_t kMaxVersionLength = 31;
constexpr size_t kMinNumbers = 3;
constexpr size_t kMaxNumbers = 4;
constexpr size_t kMaxNumberLength = 5;
constexpr uint32_t kMaxNumber = 65535;

bool parseNumber(std::string_view text, uint32_t& number) {
  if (text.empty() || text.size() > kMaxNumberLength || text.find_first_not_of(kDigits) != std::string_view::npos) {
    return false;
  }
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number <= kMaxNumber;
}

}  // namespace

bool isVersionName(std::wstring_view name) {
  constexpr std::wstring_view kWideDigits = L"0123456789";
  return name.find_first_not_of(L"0123456789.") == std::wstring_view::npos &&
         name.find_first_of(kWideDigits) != std::wstring_view::npos;
}

bool parseUpdateVersion(std::string_view text, DllCandidate& version) {
  if (text.size() > kMaxVersionLength) {
    return false;
  }
  std::array<uint32_t, kMaxNumbers> numbers = {};
  size_t count = 0;
  for (bool more = true; more; ++count) {
    if (count == kMaxNumbers) {
      return false;
    }
    const size_t dot = text.find('.');
    if (!parseNumber(text.substr(0, dot), numbers[count])) {
      return false;
    }
    more = dot != std::string_view::npos;
    text.remove_prefix(more ? dot + 1 : text.size());
  }
  if (count < kMinNumbers) {
    return false;
  }
  version.major = numbers[0];
  version.minor = numbers[1];
  version.build = numbers[2];
  version.revision = numbers[3];
  return true;
}

}  // namespace zuvia
