#include "support/ModuleVersion.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "support/Candidates.h"

namespace zuvia::test {
namespace {

// The first two members, which are the same in every module: the signature and the version of the structure.
constexpr std::string_view kStart("\xBD\x04\xEF\xFE\x00\x00\x01\x00", 8);

std::size_t findInformation(std::string_view module) {
  const std::size_t found = module.find(kStart);
  if (found == std::string_view::npos || module.size() - found < sizeof(VS_FIXEDFILEINFO)) {
    throw std::invalid_argument("The module has no version information");
  }
  if (module.find(kStart, found + 1) != std::string_view::npos) {
    throw std::invalid_argument("The module has version information twice");
  }
  return found;
}

}  // namespace

std::string withFileVersion(std::string module, const std::string& version) {
  const auto numbers = versionOf(version);
  const auto fits = [](std::uint32_t number) { return number <= 0xFFFF; };
  if (!numbers || !std::ranges::all_of(*numbers, fits)) throw std::invalid_argument("No version: " + version);
  char* const place = module.data() + findInformation(module);
  VS_FIXEDFILEINFO information;
  std::memcpy(&information, place, sizeof information);
  information.dwFileVersionMS = (*numbers)[0] << 16 | (*numbers)[1];
  information.dwFileVersionLS = (*numbers)[2] << 16 | (*numbers)[3];
  std::memcpy(place, &information, sizeof information);
  return module;
}

}  // namespace zuvia::test
