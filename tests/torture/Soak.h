#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "torture/Arena.h"
#include "torture/Trend.h"

namespace zuvia::test {

// One host process that lives long: it loads, gives its information, updates when something is offered, and unloads,
// again and again, with a service that restarts, is absent for a while, breaks transfers off and offers versions.
// What the process holds is measured every few seconds.
//
// The run-time libraries of the modules are loaded beside them and stay: with those in the module, each load would take
// something from the process that is never returned (docs/implementation-modules.md).
class Soak {
 public:
  using Clock = std::chrono::steady_clock;

  // said: where progress and what is wrong go. It outlives this. interval: between two measurements, at least.
  explicit Soak(std::ostream& said, std::chrono::seconds interval = std::chrono::seconds(2));

  // Lives on as long as this says so, and as nothing is wrong. Once.
  void run(const std::function<bool()>& goesOn);

  // What was measured, over minutes.
  const std::vector<Series>& series() const { return series_; }

  // What happened.
  std::size_t cycles() const { return cycle_; }
  std::size_t updates() const { return updates_; }    // announced and loaded
  std::size_t failures() const { return failures_; }  // exchanges and downloads that failed, as they were meant to
  const Violations& violations() const { return violations_; }

 private:
  // What the service does in a cycle.
  enum class Service {
    Same,       // offers what is loaded
    Offers,     // offers a new version
    BreaksOff,  // offers one, and ends the transfer in its middle
    Recovers,   // offers the same again, whole
    Away,       // is not there
    Restarts    // goes down and comes back in the middle of whatever the host does, who unloads at once
  };

  static Service serviceIn(std::size_t cycle);
  void prepareService(Service service);
  void offerNext();
  void live(Service service);
  bool waitForOutcome(Service service);
  void sample();
  void tellProgress(double minutes);
  void expect(bool holds, const std::string& otherwise);

  std::ostream& said_;
  const std::chrono::seconds interval_;
  TestServer server_;
  InstallTree tree_;
  const ReleaseMaker releases_;
  std::optional<Invariants> invariants_;
  std::optional<HostProcess> host_;
  Release offered_;
  std::wstring loaded_;  // the version that the next load should bring
  unsigned offers_ = 0;
  bool away_ = false;
  std::size_t cycle_ = 0;
  std::size_t updates_ = 0;
  std::size_t failures_ = 0;
  Violations violations_;
  std::vector<Series> series_;
  Clock::time_point begin_;
  double toldMinutes_ = 0;
};

}  // namespace zuvia::test
