#pragma once

#include <zuvia/IWxMonitor.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "integration/order/Signal.h"
#include "integration/races/Ledger.h"
#include "support/WideText.h"

namespace zuvia::test {

// Threads that raise events of a plugin, and add and remove listeners, all at once; some of the listeners raise events,
// add and remove others, or remove themselves. What they hear is held against Ledger. Its operations belong to one
// thread, except waitForSteps().
class Crowd {
 public:
  // Raises an event on the calling thread; several may at once.
  using Raise = std::function<void(const char* name, const char* data)>;

  // Begins. raise: empty when listeners are to be changed only. steps: how many events, registrations and removals
  // there are to be at least, of all threads together. seed: of what is drawn; which thread comes when is not.
  Crowd(IWxMonitor& monitor, Raise raise, std::size_t threads, std::size_t steps, unsigned seed);

  // Leaves, if it has not left.
  ~Crowd();

  // Waits until the steps have been taken; the threads go on. Returns false when they were not within a minute.
  bool waitForSteps() const { return enough_.wait(60000); }

  // Waits until a listener has heard of the upgrade to 2.0.0.47. Returns whether one has within that time.
  bool waitForUpgrade(DWORD milliseconds) const { return upgraded_.wait(milliseconds); }

  // Ends the threads and removes the listeners that are left.
  void leave();

  // After it has left: what was not as promised, a line each.
  std::vector<std::string> faults() const;

  // After it has left: the lines that the plugin logs about what its events did, and how often each.
  std::map<WideText, std::size_t> logLines() const;

  std::size_t steps() const { return taken_; }

 private:
  enum class Habit { Listens, Raises, Invites, Leaves };

  struct Guest {
    std::uint64_t id = 0;
    std::atomic<bool> leaving = true;  // not to be removed any more, or not yet
  };

  using Random = std::minstd_rand;

  void live(unsigned seed);
  void raise(bool inAnswer);
  std::size_t invite(Habit habit);
  void replace(std::size_t place, Habit habit);
  void seeOff(std::size_t guest);
  void hear(std::size_t guest, Habit habit, const std::string& name, const std::string& data);
  void behave(std::size_t guest, Habit habit, std::size_t event);
  void countStep();

  IWxMonitor& monitor_;
  const Raise raise_;
  const std::size_t steps_;
  Ledger ledger_;
  std::vector<Guest> guests_;     // by their number in the ledger
  std::vector<char> isInAnswer_;  // by the event's number: raised by a listener
  // Guests that are registered, by their number; a new one takes the place of an old one.
  static constexpr std::size_t kNobody = static_cast<std::size_t>(-1);
  static constexpr std::size_t kPlaces = 6;
  std::array<std::atomic<std::size_t>, kPlaces> places_;
  std::size_t witness_ = kNobody;  // a listener that stays from the beginning to the end
  // Every listener holds it, and so does every copy of one.
  const std::shared_ptr<int> held_ = std::make_shared<int>();

  std::atomic<std::size_t> taken_ = 0;
  std::atomic<std::size_t> wrongTexts_ = 0;
  std::atomic<std::size_t> wrongRemovals_ = 0;
  std::atomic<bool> leaving_ = false;
  Signal enough_;
  Signal upgraded_;
  std::vector<std::thread> threads_;
};

}  // namespace zuvia::test
