#pragma once

#include <windows.h>
#include <zuvia/IWxMonitor.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zuvia::test {

// Where an update to 2.0.0.47 can be met on its way, in the order of the way: at the Windows call that it makes there.
enum class Stage {
  Request,    // the fetch connects to the configuration service
  Cache,      // the fetch has its answer and opens the cache file
  Decision,   // the fetch looks for the offered version among the installed ones
  Download,   // the task connects to the package's server
  Package,    // half of the package is written
  Digest,     // the package is there and is hashed
  Lock,       // the task is about to wait for the version's lock
  Unpack,     // it holds the lock and makes the temporary directory
  Module,     // half of the module is written there
  Check,      // everything is unpacked; the module's version is read
  Publish,    // the directory is about to get its name
  Published,  // it has its name
  CleanUp,    // the package is deleted
  Callback    // a listener is told
};

// All of them, in their order.
const std::vector<Stage>& allStages();

// The name as above, and the stage of a name; throws std::invalid_argument when there is none.
std::string nameOf(Stage stage);
Stage stageNamed(const std::string& name);

// Runs an action when the plugin's update reaches a stage for the first time, on the thread that does, which goes on
// when the action returns. Ends as hooks do: not while the action runs.
class StageHook {
 public:
  // monitor: the plugin's, which gets a listener for Stage::Callback. To be made on the host's thread.
  StageHook(HMODULE plugin, IWxMonitor& monitor, Stage stage, std::function<void()> action);

 private:
  std::shared_ptr<void> hook_;
};

}  // namespace zuvia::test
