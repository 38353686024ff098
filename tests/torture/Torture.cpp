#include "torture/Torture.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <numeric>
#include <optional>
#include <random>

#include "support/Text.h"

namespace zuvia::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kRoundsPerTree = 20;

std::mt19937_64 randomOf(std::uint64_t seed, std::size_t round) {
  std::seed_seq sequence{seed & 0xFFFFFFFF, seed >> 32, std::uint64_t{round}};
  return std::mt19937_64(sequence);
}

// Processes that do not answer are violations, too.
Violations violationsOf(const std::function<Violations()>& action) {
  try {
    return action();
  } catch (const std::runtime_error& error) {
    return {error.what()};
  }
}

// An install tree that serves several rounds.
struct SharedTree {
  SharedTree(TestServer& server, const ReleaseMaker& releases) : arena(server, releases), timeline(arena) {}

  Arena arena;
  const Timeline timeline;
  std::size_t rounds = 0;
};

}  // namespace

bool Share::has(const CallPoint& point) const {
  return has(std::accumulate(point.function.begin(), point.function.end(), point.number));
}

CallCounts Torture::countCalls() {
  const ReleaseMaker releases = smallReleases();
  Arena arena(server_, releases);
  return test::countCalls(arena);
}

void Torture::atCalls(const std::vector<CallPoint>& points) {
  const ReleaseMaker releases = smallReleases();
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (!share_.has(points[i])) continue;
    Arena arena(server_, releases);
    const std::string name = "call " + std::to_string(i) + ", " + points[i].text();
    if (play(arena, name, cutAt(points[i]))) complete(arena, name);
    tellProgress(i + 1, points.size());
  }
}

void Torture::atCallsInOneTree(const std::vector<CallPoint>& points) {
  const ReleaseMaker releases = smallReleases();
  Arena arena(server_, releases);
  for (const CallPoint& point : points) play(arena, point.text(), cutAt(point));
  complete(arena, "after " + std::to_string(points.size()) + " calls");
}

void Torture::atMoments(std::size_t rounds, std::uint64_t seed, const ReleaseMaker& releases) {
  std::optional<SharedTree> tree;
  std::string name;
  for (std::size_t i = 0; i < rounds; ++i) {
    if (!share_.has(i)) continue;
    if (!tree) tree.emplace(server_, releases);
    std::mt19937_64 random = randomOf(seed, i);
    const Moment moment = Timeline::draw(random);
    name = "seed " + std::to_string(seed) + ", round " + std::to_string(i) + ", " + moment.text();
    bool whole = play(tree->arena, name, tree->timeline.cutAt(moment));
    const bool last = ++tree->rounds == kRoundsPerTree;
    if (whole && last) complete(tree->arena, name);
    if (!whole || last) tree.reset();
    tellProgress(i + 1, rounds);
  }
  if (tree) complete(tree->arena, name);
}

bool Torture::play(Arena& arena, const std::string& name, const Arena::Preparation& cut) {
  const Leftovers before = arena.leftovers();
  const Life life = arena.live(cut);
  tally_.add(life, before, arena.leftovers());
  Violations violations = life.failures;
  std::ranges::move(violationsOf([&] { return arena.check(); }), std::back_inserter(violations));
  const std::string ended = name + ", ended at " + std::string(nameOf(life.stage));
  if (tellsEach) said_ << ended << '\n';
  return judge(arena, ended, violations);
}

bool Torture::complete(Arena& arena, const std::string& name) {
  return judge(arena, name + ", the cycle after it", violationsOf([&] { return arena.completeCycle(); }));
}

bool Torture::judge(Arena& arena, const std::string& name, const Violations& violations) {
  if (violations.empty()) return true;
  said_ << "VIOLATION " << name << ", in " << toUtf8(arena.keep()) << '\n';
  for (const std::string& violation : violations) {
    said_ << "  " << violation << '\n';
    tally_.addViolation();
  }
  said_.flush();
  return false;
}

void Torture::tellProgress(std::size_t done, std::size_t all) {
  constexpr std::chrono::seconds kInterval(10);
  if (Clock::now() - lastTold_ < kInterval && done != all) return;
  lastTold_ = Clock::now();
  said_ << done << " of " << all << ", " << tally_.violations() << " violations" << std::endl;
}

}  // namespace zuvia::test
