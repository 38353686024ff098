// Ends hosts in the middle of updates, many times, and looks whether everything survives; or has one host live long.
// `./zuvia torture` runs it. It writes violations and its progress as they come and, at the end, a line "GROUP NAME
// NUMBER" for each count.

#include <CLI/CLI.hpp>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <limits>
#include <optional>

#include "support/Files.h"
#include "torture/Plot.h"
#include "torture/Soak.h"
#include "torture/Torture.h"

namespace zuvia::test {
namespace {

struct Arguments {
  std::size_t rounds = 100;
  std::uint64_t seed = 1;
  bool everyCall = false;
  bool each = false;
  std::optional<std::size_t> only;
  Share share;
  bool soak = false;
  unsigned minutes = 60;
  std::string plotFile = "soak.svg";
};

void addOptions(CLI::App& app, Arguments& arguments) {
  app.set_version_flag("--version", "zuvia_torture " ZUVIA_VERSION);
  app.add_option("--rounds", arguments.rounds, "Hosts that are ended at random moments")->capture_default_str();
  app.add_option("--seed", arguments.seed, "Of the moments")->capture_default_str();
  app.add_flag("--every-call", arguments.everyCall, "Ends a host at each call of Windows that it makes, as well");
  app.add_flag("--tell-each", arguments.each, "Tells where each host ended");
  app.add_option("--only", arguments.only, "Plays the random round of this number alone");
  app.add_option("--share", arguments.share.index, "Plays only every OFth round, beginning with this one");
  app.add_option("--of", arguments.share.of, "See --share")->check(CLI::PositiveNumber);
  app.add_flag("--soak", arguments.soak, "Has one host load, update and unload for long, and measures what it holds");
  app.add_option("--minutes", arguments.minutes, "How long it lives")->capture_default_str();
  app.add_option("--plot", arguments.plotFile, "Where the picture of what was measured goes")->capture_default_str();
}

void tortureAtEveryCall(Torture& torture) {
  const CallCounts counts = torture.countCalls();
  const std::vector<CallPoint> points = everyCall(counts);
  std::cout << points.size() << " calls of " << counts.size() << " functions" << std::endl;
  for (const auto& [function, count] : counts) std::cout << "  " << function << ' ' << count << '\n';
  torture.atCalls(points);
}

int torture(const Arguments& arguments) {
  const auto begin = std::chrono::steady_clock::now();
  const Share share =
      arguments.only ? Share{*arguments.only, std::numeric_limits<std::size_t>::max()} : arguments.share;
  Torture rounds(share, std::cout);
  rounds.tellsEach = arguments.each;
  if (arguments.everyCall) tortureAtEveryCall(rounds);
  rounds.atMoments(arguments.only ? *arguments.only + 1 : arguments.rounds, arguments.seed);
  rounds.tally().write(std::cout);
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begin);
  std::cout << "seconds all " << seconds.count() << '\n';
  return rounds.tally().violations() == 0 ? 0 : 1;
}

// Returns whether all are.
bool tellWhatIsFlat(const std::vector<Series>& series) {
  bool all = true;
  for (const Series& one : series) {
    all = all && isFlat(one);
    std::cout << "  " << one.name << ": " << numberText(one.points.front().value) << " at first, "
              << numberText(one.points.back().value) << " at last, growth over the second half "
              << numberText(growthOfSecondHalf(one)) << ' ' << one.unit << ", allowed " << numberText(one.allowance)
              << (isFlat(one) ? ": flat\n" : ": NOT FLAT\n");
  }
  return all;
}

int soak(const Arguments& arguments) {
  Soak soak(std::cout);
  const auto end = Soak::Clock::now() + std::chrono::minutes(arguments.minutes);
  soak.run([&] { return Soak::Clock::now() < end; });
  std::cout << soak.cycles() << " cycles, " << soak.updates() << " updates, " << soak.failures()
            << " exchanges that failed as they should\n";
  const bool flat = tellWhatIsFlat(soak.series());
  for (const std::string& violation : soak.violations()) std::cout << "VIOLATION " << violation << '\n';
  const std::string title = "One host process, " + std::to_string(soak.cycles()) + " times loaded and unloaded, " +
                            std::to_string(soak.updates()) + " updates";
  writeFile(std::filesystem::absolute(arguments.plotFile).wstring(), plot(title, soak.series(), "minutes"));
  std::cout << "violations all " << soak.violations().size() << '\n';
  return flat && soak.violations().empty() ? 0 : 1;
}

}  // namespace
}  // namespace zuvia::test

int main(int argc, char** argv) {
  using namespace zuvia::test;
  Arguments arguments;
  CLI::App app("Ends hosts in the middle of updates and looks whether everything survives.", "zuvia_torture");
  addOptions(app, arguments);
  CLI11_PARSE(app, argc, argv);
  try {
    return arguments.soak ? soak(arguments) : torture(arguments);
  } catch (const std::exception& error) {
    std::cout << "failed: " << error.what() << '\n';
    return 2;
  }
}
