#include "zuserve/HostVersionRule.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "shared/CommandLine.h"
#include "shared/Utf8.h"

namespace zuvia::zuserve {
namespace {

constexpr std::string_view kRelationCharacters = "<=>";

std::string_view trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

bool isRelation(std::string_view text) {
  static constexpr std::array<std::string_view, 5> kRelations{">=", ">", "<=", "<", "="};
  return std::ranges::find(kRelations, text) != kRelations.end();
}

}  // namespace

bool HostVersionRule::readVersion(std::string_view text, Version& version) {
  version = {};
  const char* const end = text.data() + text.size();
  const char* next = text.data();
  for (std::uint32_t& number : version) {
    const auto [stop, error] = std::from_chars(next, end, number);
    if (error != std::errc()) return false;
    if (stop == end) return true;
    if (*stop != '.') return false;
    next = stop + 1;
  }
  return false;
}

HostVersionRule::Comparison HostVersionRule::readComparison(std::string_view text) {
  const std::string_view relation = text.substr(0, text.find_first_not_of(kRelationCharacters));
  const std::string_view number = trimmed(text.substr(relation.size()));
  Comparison comparison{std::string(relation).append(number), std::string(relation), {}};
  if (isRelation(relation) && readVersion(number, comparison.version)) return comparison;
  throw tools::Failure("not a rule for host versions: " + tools::quoted(text) +
                       "; >=, >, <=, < or = and a version, as in >=7.1, <8");
}

bool HostVersionRule::Comparison::holds(const Version& other) const {
  if (relation == ">=") return other >= version;
  if (relation == ">") return other > version;
  if (relation == "<=") return other <= version;
  if (relation == "<") return other < version;
  return other == version;
}

HostVersionRule HostVersionRule::parse(std::string_view text) {
  HostVersionRule rule;
  if (trimmed(text).empty()) return rule;
  for (bool isLast = false; !isLast;) {
    const std::size_t comma = text.find(',');
    rule.comparisons_.push_back(readComparison(trimmed(text.substr(0, comma))));
    isLast = comma == std::string_view::npos;
    if (!isLast) text.remove_prefix(comma + 1);
  }
  return rule;
}

bool HostVersionRule::fits(std::string_view hostVersion) const {
  Version version{};
  if (comparisons_.empty()) return true;
  return readVersion(hostVersion, version) &&
         std::ranges::all_of(comparisons_, [&](const Comparison& one) { return one.holds(version); });
}

std::string HostVersionRule::text() const {
  std::string text;
  for (const Comparison& comparison : comparisons_) text += (text.empty() ? "" : ", ") + comparison.text;
  return text;
}

}  // namespace zuvia::zuserve
