#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "integration/PluginTest.h"
#include "integration/crowds/Ending.h"
#include "support/HostProcess.h"
#include "support/InstallTree.h"
#include "support/WideText.h"

namespace zuvia::test {

// Hosts that share one installation and one application path, and do things at the same time. They end with the object.
// One thread at a time.
class Crowd {
 public:
  // The tree outlives it.
  explicit Crowd(const InstallTree& tree) : tree_(tree) {}

  // Starts so many more hosts. What the service at that port offers them is this.
  void add(std::size_t number, const Offer& offer, unsigned short port);

  std::size_t size() const { return members_.size(); }
  HostProcess& operator[](std::size_t index) { return members_[index].host; }

  // All that live load. Returns the versions that they run then, as they log them.
  std::set<std::wstring> load();

  // Gives one, or all that live and were not given it since they loaded, the host information, and does not wait for
  // what they make of it.
  void inform(std::size_t index);
  void informAll();

  // Waits until the updates of all that live and are informed have ended. "": they have. Otherwise, after that time,
  // who holds what: each host's state and last message, the locks that it holds and wants, and how each lock stands.
  std::string settle(unsigned milliseconds = kPatience);

  // How the update of each that lives and is informed ended, and how many ended so.
  Ending ending(std::size_t index);
  std::map<Ending, std::size_t> endings();

  // All that live unload. What each does in a new life is told apart from what it did before.
  void unload();

  // What the hosts logged since it was last asked, one host after another.
  std::vector<WideText> newMessages();

  // How many have logged exactly this.
  std::size_t count(const std::wstring& message);

 private:
  // Longer than all waits for locks on the way of one update.
  static constexpr unsigned kPatience = 160000;

  struct Member {
    Member(const InstallTree& tree, const Offer& offered, unsigned short port) : offer(offered), host(tree, port) {}

    Offer offer;
    HostProcess host;
    bool informed = false;
    std::size_t firstMessage = 0;  // of this life
    std::size_t firstEvent = 0;
    std::size_t reported = 0;  // messages
  };

  static bool lives(Member& member) { return !member.host.waitForEnd(0); }
  static void inform(Member& member);
  Ending endingOf(Member& member);
  bool isSettled();
  std::string whoHoldsWhat();

  const InstallTree& tree_;
  std::deque<Member> members_;
};

}  // namespace zuvia::test
