#include "updater/HitSequence.h"

#include <cstdlib>
#include <ctime>

namespace zuvia {

std::string_view trimHitSequence(std::string_view line) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const size_t first = line.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return line.substr(first, line.find_last_not_of(kBlanks) - first + 1);
}

std::string makeHitSequence() {
  constexpr size_t kLength = 16;
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string id;
  id.reserve(kLength);
  // Not a secret: it only tells one installation from another.
  std::srand(static_cast<unsigned>(std::time(nullptr)));  // NOLINT(cert-msc51-cpp)
  for (size_t i = 0; i < kLength; ++i) {
    id += kDigits[static_cast<size_t>(std::rand()) % kDigits.size()];  // NOLINT(cert-msc50-cpp)
  }
  return id;
}

}  // namespace zuvia
