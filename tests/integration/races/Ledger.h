#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zuvia::test {

// What happened to events and listeners on many threads, in one order, and whether listeners got what they are
// promised: one that is registered when the raising of an event begins, and until it has ended, hears it; one whose
// removal has ended before, or whose registration begins after, does not; nobody hears an event twice or after its
// raising has ended; the listeners of an event are called in the ascending order of their ids.
//
// Writing takes no lock and no memory, so that it brings no order of its own into what it watches. Any thread; who
// writes about one event or listener has been told of it by who wrote before. Reading: when all writing has ended.
class Ledger {
 public:
  // How much there is room for.
  Ledger(std::size_t events, std::size_t listeners, std::size_t calls);

  // An event is about to be raised, or a listener to be registered. Returns its number, from 0 on; nothing when
  // there is no room.
  std::optional<std::size_t> beginEvent();
  std::optional<std::size_t> beginListener();

  void endEvent(std::size_t event);
  void endRegistration(std::size_t listener, std::uint64_t id);
  void beginRemoval(std::size_t listener);
  void endRemoval(std::size_t listener);

  void call(std::size_t listener, std::size_t event);

  std::size_t eventCount() const { return events_.size(); }
  std::size_t listenerCount() const { return listeners_.size(); }

  // How often each event was heard by anybody; those that were not are left out.
  std::map<std::size_t, std::size_t> callsOfEvents() const;

  // What was not as promised, a line each.
  std::vector<std::string> faults() const;

 private:
  // Counted over everything. 0: not yet, or never.
  using Moment = std::uint64_t;

  struct Event {
    Moment begin = 0;
    Moment end = 0;
  };
  struct Listener {
    std::uint64_t id = 0;
    Moment beginRegistration = 0;
    Moment endRegistration = 0;
    Moment beginRemoval = 0;
    Moment endRemoval = 0;
  };
  struct Call {
    std::size_t listener = 0;
    std::size_t event = 0;
    Moment moment = 0;
  };

  // A table of fixed size that many threads fill.
  template <typename Entry>
  class Table {
   public:
    explicit Table(std::size_t room) : entries_(room) {}
    std::optional<std::size_t> take() {
      const std::size_t number = taken_.fetch_add(1);
      if (number >= entries_.size()) return std::nullopt;
      return number;
    }
    Entry& operator[](std::size_t number) { return entries_[number]; }
    const Entry& operator[](std::size_t number) const { return entries_[number]; }
    std::size_t size() const { return taken_ < entries_.size() ? taken_.load() : entries_.size(); }

   private:
    std::vector<Entry> entries_;
    std::atomic<std::size_t> taken_ = 0;
  };

  using Faults = std::vector<std::string>;

  Moment now() { return moment_.fetch_add(1) + 1; }
  std::vector<std::vector<Call>> callsByEvent() const;
  void judgeEvent(std::size_t event, const std::vector<Call>& calls, Faults& faults) const;
  void judgeListener(std::size_t listener, std::size_t event, std::size_t calls, Faults& faults) const;

  std::atomic<Moment> moment_ = 0;
  std::atomic<std::size_t> callsWithoutRoom_ = 0;
  Table<Event> events_;
  Table<Listener> listeners_;
  Table<Call> calls_;
};

}  // namespace zuvia::test
