#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zuvia::zuserve {

// Which versions of the host are offered something: comparisons that must all hold, as in ">=7.1, <8". A version is 1
// to 4 numbers joined by dots; those that are not given count as 0, so that 7.1 and 7.1.0 are the same.
class HostVersionRule {
 public:
  // Every version.
  HostVersionRule() = default;

  // Comparisons with >=, >, <=, < or =, separated by commas; blanks do not matter. An empty text fits every version.
  // Throws tools::Failure, which says what is wrong.
  static HostVersionRule parse(std::string_view text);

  // A text that is no version fits only the rule that fits every one.
  bool fits(std::string_view hostVersion) const;

  // The rule in one form, ">=7.1, <8"; empty for the one that fits every version.
  std::string text() const;

 private:
  using Version = std::array<std::uint32_t, 4>;

  struct Comparison {
    std::string text;  // ">=7.1"
    std::string relation;
    Version version;

    bool holds(const Version& other) const;
  };

  static bool readVersion(std::string_view text, Version& version);
  static Comparison readComparison(std::string_view text);

  std::vector<Comparison> comparisons_;
};

}  // namespace zuvia::zuserve
