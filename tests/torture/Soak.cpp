#include "torture/Soak.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <numeric>

#include "support/Text.h"

namespace zuvia::test {
namespace {

using Seconds = std::chrono::duration<double>;

// The module, and the run-time libraries that it needs beside it.
#if defined(__MINGW32__)
constexpr const wchar_t* kModule = L"shared-good";
constexpr std::array kRunTime = {L"libwinpthread-1.dll", L"libgcc_s_seh-1.dll", L"libstdc++-6.dll"};
#else
constexpr const wchar_t* kModule = L"tiny";
constexpr std::array<const wchar_t*, 0> kRunTime;
#endif

constexpr const char* kFirst = "2.0.0.45";

std::string versionOffered(unsigned number) {
  return "2.0.1." + std::to_string(number);
}

double inMebibytes(std::size_t bytes) {
  return static_cast<double>(bytes) / (1 << 20);
}

std::size_t sumOf(const HandleCount& handles) {
  const auto add = [](std::size_t sum, const auto& type) { return sum + type.second; };
  return std::accumulate(handles.begin(), handles.end(), std::size_t{0}, add);
}

}  // namespace

Soak::Soak(std::ostream& said, std::chrono::seconds interval)
    : said_(said),
      interval_(interval),
      releases_(readFile(moduleFile(kModule)), {{L"sub\\companion.txt", "companion"}}),
      offered_(releases_.make(kFirst)),
      loaded_(toWide(kFirst)),
      series_{{"handles", "", 2, {}},   {"threads", "", 2, {}},           {"heap blocks", "", 50, {}},
              {"heap", "MiB", 0.1, {}}, {"private memory", "MiB", 1, {}}, {"working set", "MiB", 1, {}}} {
  tree_.installPlugin();
  releases_.install(tree_, kFirst);
  const std::wstring runTime = joinPath(parentOf(programDirectory()), L"modules\\runtime");
  for (const wchar_t* library : kRunTime) copyFile(joinPath(runTime, library), joinPath(tree_.root(), library));
  invariants_.emplace(tree_);
  host_.emplace(tree_, server_.port());
  host_->trustOnly(server_.rootPem());
  for (const wchar_t* library : kRunTime) host_->keepLoaded(joinPath(tree_.root(), library));
  server_.serve("POST", "/configs/pc/post", Answer::respond(200, offered_.offer.answer()));
}

void Soak::run(const std::function<bool()>& goesOn) {
  begin_ = Clock::now();
  Clock::time_point sampled = begin_ - std::chrono::hours(1);
  while (goesOn() && violations_.empty()) {
    const Service service = serviceIn(cycle_++);
    prepareService(service);
    live(service);
    if (Clock::now() - sampled < interval_) continue;
    sampled = Clock::now();
    sample();
  }
  host_->exit();
  std::ranges::move(invariants_->violations(), std::back_inserter(violations_));
}

Soak::Service Soak::serviceIn(std::size_t cycle) {
  switch (cycle % 20) {
    case 1:
      return Service::Offers;
    case 5:
      return Service::BreaksOff;
    case 6:
      return Service::Recovers;
    case 10:
    case 11:
    case 12:
      return Service::Away;
    case 16:
      return Service::Restarts;
    default:
      return Service::Same;
  }
}

void Soak::prepareService(Service service) {
  const bool away = service == Service::Away;
  if (away && !away_) server_.close();
  if (!away && away_) server_.reopen();
  away_ = away;
  if (service == Service::Offers || service == Service::BreaksOff) offerNext();
  const std::string& package = offered_.offer.package;
  Answer answer = Answer::respond(200, package);
  if (service == Service::BreaksOff) answer = Answer::respond(200, package).cutAfter(package.size() / 2);
  server_.serve("GET", "/package.7z", std::move(answer));
}

void Soak::offerNext() {
  offered_ = releases_.make(versionOffered(++offers_));
  invariants_->expectVersion(toWide(offered_.version()), offered_.files);
  server_.serve("POST", "/configs/pc/post", Answer::respond(200, offered_.offer.answer()));
}

void Soak::live(Service service) {
  const std::string name = "Cycle " + std::to_string(cycle_) + ": ";
  host_->load();
  const std::wstring module = joinPath(tree_.root(), loaded_ + L"\\zuimpl.dll");
  expect(host_->waitForMessage(L"Load plugin success, path: " + module, 0), name + toUtf8(module) + " was not loaded");
  host_->sendHostInformation();
  if (service == Service::Restarts) server_.close();
  expect(waitForOutcome(service), name + "the host did not say what came of its exchange");
  host_->unload();
  if (service == Service::Restarts) server_.reopen();
  invariants_->hostSaid(host_->messages());
  host_->forget();
}

// Returns whether the host says what it should.
bool Soak::waitForOutcome(Service service) {
  switch (service) {
    case Service::Same:
      return host_->waitForMessage(L"No needed to upgrade for version: ");
    case Service::Offers:
    case Service::Recovers:
      ++updates_;
      loaded_ = toWide(offered_.version());
      return host_->waitForEvent("pluginUpgradeEvent=" + offered_.version());
    case Service::BreaksOff:
      ++failures_;
      return host_->waitForMessage(L"Download fail! path: ");
    case Service::Away:
      ++failures_;
      return host_->waitForMessage(L"onFetch fail key: ");
    case Service::Restarts:
      break;
  }
  return true;
}

void Soak::sample() {
  HandleCount handles = host_->handles();
  const auto threads = handles.extract("running threads");
  const MemoryCount memory = host_->memory();
  const double values[] = {
      static_cast<double>(sumOf(handles)),    threads.empty() ? 0 : static_cast<double>(threads.mapped()),
      static_cast<double>(memory.heapBlocks), inMebibytes(memory.heapBytes),
      inMebibytes(memory.privateBytes),       inMebibytes(memory.workingSet)};
  const double minutes = Seconds(Clock::now() - begin_).count() / 60;
  for (std::size_t i = 0; i < series_.size(); ++i) series_[i].points.push_back({minutes, values[i]});
  tellProgress(minutes);
}

void Soak::tellProgress(double minutes) {
  if (minutes < toldMinutes_ + 1) return;
  toldMinutes_ = minutes;
  said_ << static_cast<int>(minutes) << " minutes, " << cycle_ << " cycles, " << updates_ << " updates" << std::endl;
}

void Soak::expect(bool holds, const std::string& otherwise) {
  if (holds) return;
  violations_.push_back(otherwise);
  said_ << "VIOLATION " << otherwise << ", in " << toUtf8(tree_.base()) << std::endl;
  for (const WideText& message : host_->messages()) said_ << "  log: " << toUtf8(message) << '\n';
  tree_.keep();
}

}  // namespace zuvia::test
