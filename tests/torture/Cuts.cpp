#include "torture/Cuts.h"

#include <windows.h>

#include <array>
#include <memory>
#include <numeric>
#include <sstream>
#include <thread>

namespace zuvia::test {
namespace {

using Clock = std::chrono::steady_clock;

// Whether the host has come to where the stage begins.
bool isReached(const StageBeginning& beginning, HostProcess& host) {
  return beginning.message == nullptr || host.waitForMessage(beginning.message);
}

void requireCompletion(const Life& life) {
  if (!life.completed()) throw CycleFailed("A life without a cut ended at " + std::string(nameOf(life.step)));
}

// Ends a process a while after it was asked to, unless it has ended by itself.
class Killer {
 public:
  void endLater(unsigned long processId, Timeline::Duration delay) {
    thread_ = std::jthread([processId, delay] {
      HANDLE process = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, processId);
      if (process == nullptr) return;
      if (WaitForSingleObject(process, static_cast<DWORD>(delay.count())) == WAIT_TIMEOUT)
        TerminateProcess(process, 88);
      CloseHandle(process);
    });
  }

 private:
  std::jthread thread_;
};

// The same everywhere, which the standard library's distributions are not.
double drawShare(std::mt19937_64& random) {
  return static_cast<double>(random() >> 11) / static_cast<double>(1ULL << 53);
}

// Lock and Unpack are drawn with Hash.
CutStage drawStage(std::mt19937_64& random) {
  constexpr std::array kStages = {CutStage::Request,  CutStage::Answer, CutStage::Download,   CutStage::Hash,
                                  CutStage::Hash,     CutStage::Hash,   CutStage::Check,      CutStage::Publish,
                                  CutStage::Announce, CutStage::Unload, CutStage::SecondLoad, CutStage::Removal};
  return kStages.at(random() % kStages.size());
}

}  // namespace

CallCounts countCalls(Arena& arena) {
  CallCounts counts;
  const Life life = arena.live([&](HostProcess& host, UpdateCycle& cycle) {
    cycle.onStep = [&](Step step) {
      if (step == Step::Exit) counts = host.calls();
    };
  });
  requireCompletion(life);
  return counts;
}

std::vector<CallPoint> everyCall(const CallCounts& counts) {
  std::vector<CallPoint> points;
  for (const auto& [function, count] : counts) {
    for (std::size_t number = 1; number <= count; ++number) points.push_back({function, number});
  }
  return points;
}

Arena::Preparation cutAt(const CallPoint& point) {
  return [point](HostProcess& host, UpdateCycle&) { host.cutAt(point.function, point.number); };
}

std::string Moment::text() const {
  std::ostringstream text;
  text.precision(4);
  text << share * 100 << " % of " << (whole ? "everything from " : "") << nameOf(stage);
  return text.str();
}

Timeline::Timeline(Arena& arena) {
  std::map<CutStage, Clock::time_point> beginnings;
  const Life life = arena.live([&](HostProcess& host, UpdateCycle& cycle) {
    cycle.onStep = [&](Step step) {
      for (const StageBeginning& beginning : stageBeginnings()) {
        if (beginning.step == step && isReached(beginning, host)) beginnings[beginning.stage] = Clock::now();
      }
    };
  });
  requireCompletion(life);
  const std::vector<StageBeginning>& stages = stageBeginnings();
  for (std::size_t i = 0; i + 1 < stages.size(); ++i) {
    lengths_[stages[i].stage] = beginnings.at(stages[i + 1].stage) - beginnings.at(stages[i].stage);
  }
}

Moment Timeline::draw(std::mt19937_64& random) {
  if (random() % 2 == 0) return {CutStage::Request, true, drawShare(random)};
  const CutStage stage = drawStage(random);
  return {stage, false, drawShare(random)};
}

Timeline::Duration Timeline::delay(const Moment& moment) const {
  if (!moment.whole) return lengths_.at(moment.stage) * moment.share;
  const auto add = [](Duration sum, const auto& stage) { return sum + stage.second; };
  return std::accumulate(lengths_.begin(), lengths_.end(), Duration{}, add) * moment.share;
}

Arena::Preparation Timeline::cutAt(const Moment& moment) const {
  return [moment, delay = delay(moment)](HostProcess& host, UpdateCycle& cycle) {
    cycle.onStep = [&host, moment, delay, killer = std::make_shared<Killer>()](Step step) {
      for (const StageBeginning& beginning : stageBeginnings()) {
        if (beginning.stage != moment.stage || beginning.step != step) continue;
        if (isReached(beginning, host)) killer->endLater(host.process().id(), delay);
      }
    };
  };
}

}  // namespace zuvia::test
