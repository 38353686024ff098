#include "torture/UpdateCycle.h"

#include <array>

namespace zuvia::test {

std::string_view nameOf(Step step) {
  constexpr std::array<std::string_view, 9> kNames = {"load",     "inform",     "update", "unload", "load-new",
                                                      "clean-up", "unload-new", "exit",   "done"};
  return kNames.at(static_cast<std::size_t>(step));
}

void UpdateCycle::run() {
  begin(Step::Load);
  host_.load();
  begin(Step::Inform);
  host_.sendHostInformation();
  begin(Step::Update);
  waitForUpdate();
  begin(Step::Unload);
  host_.unload();
  begin(Step::LoadNew);
  host_.load();
  begin(Step::CleanUp);
  host_.sendHostInformation();
  begin(Step::UnloadNew);
  host_.unload();
  begin(Step::Exit);
  host_.exit();
  if (host_.waitForEnd() != 0) throw HostEnded("The host ended while it returned from main");
  begin(Step::Done);
}

void UpdateCycle::begin(Step step) {
  step_ = step;
  onStep(step);
}

void UpdateCycle::waitForUpdate() {
  constexpr unsigned kMilliseconds = 120000;
  if (host_.waitForEvent("pluginUpgradeEvent=" + version_, kMilliseconds)) return;
  // Its output ends a moment before it does.
  if (host_.waitForEnd(5000)) throw HostEnded("The host ended while it updated");
  throw CycleFailed("No upgrade to " + version_ + " was announced");
}

}  // namespace zuvia::test
