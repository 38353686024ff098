#include "torture/Tally.h"

namespace zuvia::test {

void Tally::add(const Life& life, const Leftovers& before, const Leftovers& after) {
  ++counts_["rounds all"];
  ++counts_["cuts " + std::string(nameOf(life.stage))];
  for (const auto& [path, kind] : after) {
    if (!before.contains(path)) ++counts_["left " + std::string(nameOf(kind))];
  }
}

void Tally::write(std::ostream& stream) const {
  for (const auto& [name, number] : counts_) stream << name << ' ' << number << '\n';
}

std::size_t Tally::of(const std::string& name) const {
  const auto found = counts_.find(name);
  return found == counts_.end() ? 0 : found->second;
}

}  // namespace zuvia::test
