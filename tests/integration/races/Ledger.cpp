#include "integration/races/Ledger.h"

#include <algorithm>

namespace zuvia::test {
namespace {

std::string named(std::size_t listener, std::size_t event) {
  return "listener " + std::to_string(listener) + " event " + std::to_string(event) + ": ";
}

}  // namespace

Ledger::Ledger(std::size_t events, std::size_t listeners, std::size_t calls)
    : events_(events), listeners_(listeners), calls_(calls) {}

std::optional<std::size_t> Ledger::beginEvent() {
  const auto event = events_.take();
  if (event) events_[*event].begin = now();
  return event;
}

std::optional<std::size_t> Ledger::beginListener() {
  const auto listener = listeners_.take();
  if (listener) listeners_[*listener].beginRegistration = now();
  return listener;
}

void Ledger::endEvent(std::size_t event) {
  events_[event].end = now();
}

void Ledger::endRegistration(std::size_t listener, std::uint64_t id) {
  listeners_[listener].id = id;
  listeners_[listener].endRegistration = now();
}

void Ledger::beginRemoval(std::size_t listener) {
  listeners_[listener].beginRemoval = now();
}

void Ledger::endRemoval(std::size_t listener) {
  listeners_[listener].endRemoval = now();
}

void Ledger::call(std::size_t listener, std::size_t event) {
  const auto call = calls_.take();
  if (call) {
    calls_[*call] = {listener, event, now()};
  } else {
    ++callsWithoutRoom_;
  }
}

std::map<std::size_t, std::size_t> Ledger::callsOfEvents() const {
  std::map<std::size_t, std::size_t> counts;
  for (std::size_t i = 0; i < calls_.size(); ++i) ++counts[calls_[i].event];
  return counts;
}

// Those of each event in the order in which they were made.
std::vector<std::vector<Ledger::Call>> Ledger::callsByEvent() const {
  std::vector<std::vector<Call>> events(events_.size());
  for (std::size_t i = 0; i < calls_.size(); ++i) events[calls_[i].event].push_back(calls_[i]);
  for (std::vector<Call>& calls : events) std::ranges::sort(calls, {}, &Call::moment);
  return events;
}

std::vector<std::string> Ledger::faults() const {
  Faults faults;
  if (callsWithoutRoom_ != 0) faults.push_back(std::to_string(callsWithoutRoom_) + " calls found no room");
  const auto events = callsByEvent();
  for (std::size_t event = 0; event < events.size(); ++event) judgeEvent(event, events[event], faults);
  return faults;
}

void Ledger::judgeEvent(std::size_t event, const std::vector<Call>& calls, Faults& faults) const {
  std::vector<std::size_t> counts(listeners_.size());
  std::uint64_t lastId = 0;
  for (const Call& call : calls) {
    const std::uint64_t id = listeners_[call.listener].id;
    if (call.moment > events_[event].end) faults.push_back(named(call.listener, event) + "called after the end");
    if (id < lastId) faults.push_back(named(call.listener, event) + "called after a later listener");
    lastId = id;
    ++counts[call.listener];
  }
  for (std::size_t i = 0; i < counts.size(); ++i) judgeListener(i, event, counts[i], faults);
}

void Ledger::judgeListener(std::size_t number, std::size_t eventNumber, std::size_t calls, Faults& faults) const {
  const Listener& listener = listeners_[number];
  const Event& event = events_[eventNumber];
  const auto find = [&](const std::string& fault) { faults.push_back(named(number, eventNumber) + fault); };
  const bool removedBefore = listener.endRemoval != 0 && listener.endRemoval < event.begin;
  const bool removedUntilEnd = listener.beginRemoval != 0 && listener.beginRemoval < event.end;
  const bool thereBefore = listener.endRegistration != 0 && listener.endRegistration < event.begin;
  if (calls == 0 && thereBefore && !removedUntilEnd) find("not called");
  if (calls > 1) find("called " + std::to_string(calls) + " times");
  if (calls > 0 && removedBefore) find("called after its removal");
  if (calls > 0 && listener.beginRegistration > event.end) find("called before its registration");
}

}  // namespace zuvia::test
