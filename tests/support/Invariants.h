#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/Candidates.h"
#include "support/Files.h"
#include "support/HandleCount.h"
#include "support/InstallTree.h"
#include "support/WideText.h"

namespace zuvia::test {

// What is wrong, one sentence each.
using Violations = std::vector<std::string>;

// What a fresh host made of an install tree.
struct FreshStart {
  std::vector<Candidate> candidates;  // as another process found them
  std::vector<WideText> messages;     // of its loading
  HandleCount growth;                 // what it had open more after a second load and unload than after the first
};

// The rules, for facts of any origin.

// At least one version loads, and the one that was loaded is the highest that does; the log names it, and with its
// reason each one that is higher or has no version that can be read.
Violations checkChoice(const FreshStart& start);

// A load leaves nothing open but what the run-time library of each test module keeps that it loaded, be it in vain: a
// thread's handle and an event.
Violations checkGrowth(const FreshStart& start);

// A directory holds what was published, nothing missing, more or different. partly: a removal of it began, and what is
// not there any more is no violation.
Violations checkContent(const std::wstring& directory, const TreeListing& published, bool partly);

// What must hold for an install tree whatever happened to the hosts that used it.
//
//   Invariants invariants(tree);
//   invariants.expectVersion(L"2.0.0.47", files);
//   … hosts run and die …
//   invariants.hostSaid(host.messages());
//   EXPECT_THAT(invariants.violations(), IsEmpty());
//
// One thread at a time.
class Invariants {
 public:
  // Remembers what lies around the root and the application path. The plugin and the versions in the root count as
  // installed. The tree outlives this.
  explicit Invariants(const InstallTree& tree);

  // A version that may be published from now on, and what its directory then holds.
  void expectVersion(const std::wstring& version, const TreeListing& files);

  // What a host logged since it was last asked, in its order: which versions were published, and of which a removal
  // began.
  void hostSaid(const std::vector<WideText>& messages);

  // Looks at everything now, with a fresh host of its own that loads and unloads. No other host runs.
  Violations violations() const;

  // Such a host, alone.
  FreshStart startFresh() const;

  // The names of the versions whose publication completed and of whose removal none began.
  const std::set<std::wstring>& whole() const { return whole_; }

 private:
  Violations checkVersions() const;
  Violations checkSurroundings() const;
  Violations checkLocks() const;
  TreeListing surroundings() const;

  const InstallTree& tree_;
  TreeListing surroundings_;
  std::map<std::wstring, TreeListing> published_;  // by the name of the version
  std::set<std::wstring> whole_;
  std::set<std::wstring> removed_;  // a removal began
};

}  // namespace zuvia::test
