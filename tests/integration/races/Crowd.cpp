#include "integration/races/Crowd.h"

#include <charconv>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "support/Text.h"

namespace zuvia::test {
namespace {

constexpr std::string_view kName = "event ";

// Of every length up to some hundred characters, and another one for each event.
std::string dataOf(std::size_t event) {
  return std::to_string(event) + ' ' + std::string(event % 251, static_cast<char>('a' + event % 26));
}

std::string nameOf(std::size_t event) {
  return std::string(kName) + std::to_string(event);
}

// The number in a name as above; nothing when it is another.
std::optional<std::size_t> numberOf(std::string_view name) {
  if (!name.starts_with(kName)) return std::nullopt;
  const std::string_view digits = name.substr(kName.size());
  std::size_t event = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), event);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return event;
}

// What else is raised while there is a crowd: by the plugin itself, and by its implementation when it is told to.
bool isKnown(const std::string& name, const std::string& data) {
  static const std::set<std::string> known = {"pluginLoadedEvent=", "pluginLoadedDoneEvent=2.0.0.45",
                                              "pluginUpgradeEvent=2.0.0.47", "late=event"};
  return known.contains(name + '=' + data);
}

}  // namespace

Crowd::Crowd(IWxMonitor& monitor, Raise raise, std::size_t threads, std::size_t steps, unsigned seed)
    : monitor_(monitor),
      raise_(std::move(raise)),
      steps_(steps),
      ledger_(2 * steps, 2 * steps, 40 * steps),
      guests_(2 * steps),
      isInAnswer_(2 * steps) {
  for (auto& place : places_) place = kNobody;
  witness_ = invite(Habit::Listens);
  for (unsigned i = 0; i < threads; ++i) {
    threads_.emplace_back([this, seed, i] { live(seed + i); });
  }
}

Crowd::~Crowd() {
  leave();
}

void Crowd::leave() {
  leaving_ = true;
  for (std::thread& thread : threads_) thread.join();
  threads_.clear();
  if (witness_ != kNobody) seeOff(std::exchange(witness_, kNobody));
  for (auto& place : places_) {
    if (const std::size_t guest = place.exchange(kNobody); guest != kNobody) seeOff(guest);
  }
}

void Crowd::live(unsigned seed) {
  Random random(seed);
  random.discard(16);  // the first draws of neighbouring seeds are alike
  while (!leaving_) {
    const bool changes = !raise_ || random() % 3 == 0;
    if (changes) {
      replace(random() % kPlaces, static_cast<Habit>(random() % 4));
    } else {
      raise(false);
    }
    if (taken_ > steps_) Sleep(1);
  }
}

void Crowd::raise(bool inAnswer) {
  const auto event = ledger_.beginEvent();
  if (!event) return;
  isInAnswer_[*event] = inAnswer;
  std::string name = nameOf(*event);
  std::string data = dataOf(*event);
  raise_(name.c_str(), data.c_str());
  ledger_.endEvent(*event);
  // Who looks at them from now on sees it.
  name.assign(name.size(), '?');
  data.assign(data.size(), '?');
  countStep();
}

// Returns kNobody when there is no room.
std::size_t Crowd::invite(Habit habit) {
  const std::size_t guest = ledger_.beginListener().value_or(kNobody);
  if (guest == kNobody) return kNobody;
  guests_[guest].id = monitor_.addListener(
      [this, guest, habit, held = held_](const char* name, const char* data) { hear(guest, habit, name, data); });
  ledger_.endRegistration(guest, guests_[guest].id);
  guests_[guest].leaving = false;
  countStep();
  return guest;
}

void Crowd::replace(std::size_t place, Habit habit) {
  const std::size_t guest = invite(habit);
  if (guest == kNobody) return;
  if (const std::size_t former = places_[place].exchange(guest); former != kNobody) seeOff(former);
}

void Crowd::seeOff(std::size_t guest) {
  if (guests_[guest].leaving.exchange(true)) return;
  ledger_.beginRemoval(guest);
  const bool removed = monitor_.removeListener(guests_[guest].id);
  ledger_.endRemoval(guest);
  if (!removed || monitor_.removeListener(guests_[guest].id)) ++wrongRemovals_;
  countStep();
}

void Crowd::hear(std::size_t guest, Habit habit, const std::string& name, const std::string& data) {
  const auto event = numberOf(name);
  const bool whole = event ? *event < ledger_.eventCount() && data == dataOf(*event) : isKnown(name, data);
  if (!whole) {
    ++wrongTexts_;
  } else if (event) {
    ledger_.call(guest, *event);
    if (!isInAnswer_[*event]) behave(guest, habit, *event);
  } else if (name == "pluginUpgradeEvent") {
    upgraded_.set();
  }
}

// Not at each event: every answer costs a call of each listener.
void Crowd::behave(std::size_t guest, Habit habit, std::size_t event) {
  if (event % 8 != 0) return;
  switch (habit) {
    case Habit::Listens:
      return;
    case Habit::Raises:
      return raise(true);
    case Habit::Invites:
      return replace(event / 8 % kPlaces, Habit::Listens);
    case Habit::Leaves:
      return seeOff(guest);
  }
}

void Crowd::countStep() {
  if (++taken_ == steps_) enough_.set();
}

std::map<WideText, std::size_t> Crowd::logLines() const {
  std::map<WideText, std::size_t> lines;
  for (const auto& [event, calls] : ledger_.callsOfEvents()) {
    lines[toWide("onNotifyEvent cmd: " + nameOf(event) + ", data: " + dataOf(event))] = calls;
  }
  return lines;
}

std::vector<std::string> Crowd::faults() const {
  std::vector<std::string> faults = ledger_.faults();
  if (wrongTexts_ != 0) faults.push_back(std::to_string(wrongTexts_) + " texts were wrong");
  if (wrongRemovals_ != 0) faults.push_back(std::to_string(wrongRemovals_) + " removals told the wrong result");
  if (held_.use_count() != 1) faults.push_back(std::to_string(held_.use_count() - 1) + " listeners are still held");
  return faults;
}

}  // namespace zuvia::test
