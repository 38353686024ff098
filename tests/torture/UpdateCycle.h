#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "support/HostProcess.h"

namespace zuvia::test {

// What a host does in the life of an update, in its order.
enum class Step {
  Load,       // loads the plugin, which loads the newest version
  Inform,     // gives the host information: unused versions are removed, the service is asked
  Update,     // waits for the event that tells of the update
  Unload,     // unloads
  LoadNew,    // loads the new version
  CleanUp,    // gives the host information again: the old versions are removed
  UnloadNew,  // unloads
  Exit,       // returns from main
  Done
};

std::string_view nameOf(Step step);

// The cycle of an update took another way than it should, without an end of its host.
class CycleFailed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Has a host live through an update, from its start to its end.
class UpdateCycle {
 public:
  // host: one that has loaded nothing yet. version: what the service offers. Both outlive this.
  UpdateCycle(HostProcess& host, const std::string& version) : host_(host), version_(version) {}

  // Is told of each step before it is begun; it may wait for messages.
  std::function<void(Step)> onStep = [](Step) {};

  // Runs all steps. Throws HostEnded when the host ends before, CycleFailed when the event does not come, and
  // std::runtime_error when the host does not answer.
  void run();

  // Where it is, or where it ended.
  Step step() const { return step_; }

 private:
  void begin(Step step);
  void waitForUpdate();

  HostProcess& host_;
  const std::string& version_;
  Step step_ = Step::Load;
};

}  // namespace zuvia::test
