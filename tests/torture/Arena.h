#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "support/HostProcess.h"
#include "support/InstallTree.h"
#include "support/Invariants.h"
#include "support/TestServer.h"
#include "torture/CutStage.h"
#include "torture/Release.h"
#include "torture/UpdateCycle.h"

namespace zuvia::test {

// What the end of a host may leave behind, by where it lies.
enum class Leftover {
  TemporaryWithoutModule,  // a temporary directory; without zuimpl.dll nothing looks into it
  TemporaryWithModule,     // with one, whole or not: a candidate, which the clean-up refuses
  PartWithModule,          // a version of which files were removed; a candidate, which the next clean-up removes
  PartWithoutModule,       // the same without zuimpl.dll: it stays
  Package                  // in the download directory, whole or not
};

std::string_view nameOf(Leftover leftover);

// Path below the tree's base to what it is.
using Leftovers = std::map<std::wstring, Leftover>;

// What a host did until it ended.
struct Life {
  std::string version;  // that it was offered
  Step step = Step::Load;
  CutStage stage = CutStage::None;
  std::vector<WideText> messages;
  Violations failures;  // it neither ended nor did what it should

  bool completed() const { return step == Step::Done; }
};

// Where hosts live, update and die: an install tree, in which two versions lie at first, and a service that offers the
// next version to each host. One thread at a time.
class Arena {
 public:
  // What a host is prepared with before its first step.
  using Preparation = std::function<void(HostProcess& host, UpdateCycle& cycle)>;

  // server: nobody else serves with it now. Both outlive this.
  Arena(TestServer& server, const ReleaseMaker& releases);

  // Has a host live through the update to a version that was never offered before, or until it ends.
  Life live(const Preparation& prepare = [](HostProcess&, UpdateCycle&) {});

  // What is wrong now; see Invariants.
  Violations check() const { return invariants_.violations(); }

  // Has one host more live, which must come to its end, and looks whether everything is then as it should:
  //   - the new version is published, announced, loaded, and the only one that can be;
  //   - versions of which files were missing are gone where they had a module;
  //   - what cannot be told from a stranger's directory is left alone: temporary directories, each with its message,
  //     and what has no module; and so are packages that nobody waits for.
  Violations completeCycle();

  // What lies there beside versions that are whole.
  Leftovers leftovers() const;

  // Which of these stay when a cycle completes.
  static Leftovers thatStay(Leftovers leftovers);

  // The tree stays, for somebody to look at. Returns where it is.
  std::wstring keep();

  const InstallTree& tree() const { return tree_; }

 private:
  const Release& offerNext();
  std::vector<WideText> run(HostProcess& host, UpdateCycle& cycle, Life& life) const;
  bool hasTemporary(const std::string& version) const;
  Violations checkNewVersion(const Life& life) const;
  Violations checkLeftovers(const Life& life, const Leftovers& before) const;
  bool isWhole(const std::wstring& version) const;

  TestServer& server_;
  const ReleaseMaker& releases_;
  InstallTree tree_;
  Invariants invariants_;
  Release release_;  // offered last
  std::map<std::wstring, TreeListing> published_;
  unsigned versions_ = 46;  // so many were there or offered
};

}  // namespace zuvia::test
