#pragma once

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "torture/Arena.h"
#include "torture/Cuts.h"
#include "torture/Tally.h"

namespace zuvia::test {

// Which rounds are played here, of those that several processes share: every `of`th, beginning with `index`.
struct Share {
  std::size_t index = 0;
  std::size_t of = 1;

  bool has(std::size_t round) const { return round % of == index; }

  // The same for processes that do not count quite the same calls.
  bool has(const CallPoint& point) const;
};

// Rounds of hosts that are ended while they update. After each of them every rule must hold (Arena::check), and in the
// end a whole cycle must complete in the same tree (Arena::completeCycle). What is wrong is told at once, with all that
// is needed to repeat it, and its tree is kept.
class Torture {
 public:
  // said: where progress and violations go, in lines. It outlives this.
  Torture(Share share, std::ostream& said) : share_(share), said_(said) {}

  // The calls of a whole life with small releases.
  CallCounts countCalls();

  // Ends a host before each of these calls, with small releases, each in a tree of its own.
  void atCalls(const std::vector<CallPoint>& points);

  // The same, one after the other in one tree.
  void atCallsInOneTree(const std::vector<CallPoint>& points);

  // Ends hosts at moments that are drawn from seed and round. A tree serves twenty rounds: what hosts leave behind
  // piles up in it, and the next hosts live with that.
  void atMoments(std::size_t rounds, std::uint64_t seed, const ReleaseMaker& releases = largeReleases());

  const Tally& tally() const { return tally_; }

  // Whether each round is told.
  bool tellsEach = false;

 private:
  // These return whether nothing is wrong.
  bool play(Arena& arena, const std::string& name, const Arena::Preparation& cut);
  bool complete(Arena& arena, const std::string& name);
  bool judge(Arena& arena, const std::string& name, const Violations& violations);

  void tellProgress(std::size_t done, std::size_t all);

  const Share share_;
  std::ostream& said_;
  TestServer server_;
  Tally tally_;
  std::chrono::steady_clock::time_point lastTold_ = std::chrono::steady_clock::now();
};

}  // namespace zuvia::test
