#pragma once

#include <cstddef>
#include <map>
#include <ostream>
#include <string>

#include "torture/Arena.h"

namespace zuvia::test {

// What came of many rounds.
class Tally {
 public:
  // Counts one round: how its host ended, and what that left behind which was not there before.
  void add(const Life& life, const Leftovers& before, const Leftovers& after);

  // Counts something that must not be.
  void addViolation() { ++counts_["violations all"]; }

  std::size_t rounds() const { return of("rounds all"); }
  std::size_t violations() const { return of("violations all"); }

  // How many hosts ended in that stage; how many such things were left behind.
  std::size_t cuts(CutStage stage) const { return of("cuts " + std::string(nameOf(stage))); }
  std::size_t left(Leftover leftover) const { return of("left " + std::string(nameOf(leftover))); }

  // Writes a line "GROUP NAME NUMBER" for each count, so that tallies can be added up by whoever reads them.
  void write(std::ostream& stream) const;

 private:
  std::size_t of(const std::string& name) const;

  std::map<std::string, std::size_t> counts_ = {{"rounds all", 0}, {"violations all", 0}};
};

}  // namespace zuvia::test
