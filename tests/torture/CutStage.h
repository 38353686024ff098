#pragma once

#include <string_view>
#include <vector>

#include "support/WideText.h"
#include "torture/UpdateCycle.h"

namespace zuvia::test {

// How far the life of an update had come when its host ended, in the order of that life.
enum class CutStage {
  Load,        // the newest version is looked for and loaded
  Inform,      // versions that are not used any more are removed, before anything is asked
  Request,     // the service is asked, and has not answered
  Answer,      // the answer is stored and read, the offered version looked for
  Download,    // the package comes
  Hash,        // it is hashed
  Lock,        // the version's lock is held; the package is read and unpacked in memory
  Unpack,      // its files are written to the temporary directory
  Check,       // they are all there, and the module is looked at
  Publish,     // the directory gets its name
  Announce,    // it has its name; the package is removed, the host is told
  Unload,      // the old version is unloaded
  SecondLoad,  // the new one is loaded
  Removal,     // the old ones are removed
  End,         // the new one is unloaded, the host returns from main
  None         // it ended by itself
};

std::string_view nameOf(CutStage stage);

// What is known of the end of a host.
struct HostEnd {
  Step step = Step::Load;
  std::vector<WideText> messages;
  bool lockHeld = false;   // it held the version's lock
  bool temporary = false;  // there is a temporary directory of the version
};

CutStage stageOf(const HostEnd& end);

// Where a stage can be seen to begin: at a step of the host, or, while it waits for the update, at a message.
struct StageBeginning {
  CutStage stage;
  Step step;
  const wchar_t* message;  // how it begins; null: at the step itself
};

// Of the stages from the first request to the end of the clean-up, in their order; then that end, as CutStage::End.
// Lock and Unpack begin unseen, in Hash.
const std::vector<StageBeginning>& stageBeginnings();

}  // namespace zuvia::test
