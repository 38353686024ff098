#include "torture/Arena.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <memory>

#include "support/Text.h"

namespace zuvia::test {
namespace {

constexpr std::array kInstalled = {"2.0.0.45", "2.0.0.46"};
constexpr const wchar_t* kModule = L"zuimpl.dll";

// The version of that number in an order that never ends.
std::string versionNumber(unsigned number) {
  constexpr unsigned kRevisions = 60000;
  return "2.0." + std::to_string(number / kRevisions) + '.' + std::to_string(number % kRevisions);
}

struct CloseMutex {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};

// The lock of a version, kept in existence to see how a host left it.
class VersionLock {
 public:
  explicit VersionLock(const std::string& version)
      : mutex_(CreateMutexW(nullptr, FALSE, (L"Local\\ZuviaPluginUpdate-" + toWide(version)).c_str())) {}

  // Whether a process that has ended held it.
  bool wasHeld() const {
    const DWORD result = WaitForSingleObject(mutex_.get(), 5000);
    if (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) ReleaseMutex(mutex_.get());
    return result == WAIT_ABANDONED;
  }

 private:
  std::unique_ptr<void, CloseMutex> mutex_;
};

InstallTree& furnish(InstallTree& tree, const ReleaseMaker& releases) {
  tree.installPlugin();
  for (const char* version : kInstalled) releases.install(tree, version);
  return tree;
}

std::vector<std::wstring> namesIn(const std::wstring& directory) {
  std::vector<std::wstring> names;
  if (!directoryExists(directory)) return names;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    names.push_back(entry.path().filename().wstring());
  }
  return names;
}

bool isTemporary(const std::wstring& name) {
  return name.starts_with(L".update-");
}

bool mentions(const std::vector<WideText>& messages, std::wstring_view beginning, const std::wstring& path) {
  return std::ranges::any_of(messages, [&](const WideText& message) {
    return message.starts_with(beginning) && message.find(path) != std::wstring::npos;
  });
}

std::string textOf(const std::vector<WideText>& messages) {
  std::string text;
  for (const WideText& message : messages) text += "\n    " + toUtf8(message);
  return text;
}

void append(Violations& violations, Violations more) {
  std::ranges::move(more, std::back_inserter(violations));
}

std::string describe(const Leftovers& leftovers) {
  std::string text;
  for (const auto& [path, kind] : leftovers) text += ' ' + toUtf8(path) + " (" + std::string(nameOf(kind)) + ')';
  return text.empty() ? " nothing" : text;
}

}  // namespace

std::string_view nameOf(Leftover leftover) {
  constexpr std::array<std::string_view, 5> kNames = {"temporary-without-module", "temporary-with-module",
                                                      "part-with-module", "part-without-module", "package"};
  return kNames.at(static_cast<std::size_t>(leftover));
}

Arena::Arena(TestServer& server, const ReleaseMaker& releases)
    : server_(server), releases_(releases), invariants_(furnish(tree_, releases)) {
  for (const char* version : kInstalled) published_[toWide(version)] = releases.make(version).files;
}

Life Arena::live(const Preparation& prepare) {
  Life life;
  life.version = offerNext().version();
  const VersionLock lock(life.version);
  HostProcess host(tree_, server_.port());
  host.trustOnly(server_.rootPem());
  UpdateCycle cycle(host, life.version);
  prepare(host, cycle);
  life.messages = run(host, cycle, life);
  life.step = cycle.step();
  life.stage = stageOf({life.step, life.messages, lock.wasHeld(), hasTemporary(life.version)});
  invariants_.hostSaid(life.messages);
  return life;
}

const Release& Arena::offerNext() {
  release_ = releases_.make(versionNumber(++versions_));
  server_.serve("POST", "/configs/pc/post", Answer::respond(200, release_.offer.answer()));
  server_.serve("GET", "/package.7z", Answer::respond(200, release_.offer.package));
  const std::wstring version = toWide(release_.version());
  published_[version] = release_.files;
  invariants_.expectVersion(version, release_.files);
  return release_;
}

// Returns what the host logged. It has ended then, in one way or the other.
std::vector<WideText> Arena::run(HostProcess& host, UpdateCycle& cycle, Life& life) const {
  try {
    cycle.run();
  } catch (const HostEnded&) {
    // As it may: Life::completed tells.
  } catch (const std::runtime_error& error) {
    life.failures.push_back(std::string(error.what()) + ", at " + std::string(nameOf(cycle.step())));
  }
  if (!host.waitForEnd(0)) host.terminate();
  std::vector<WideText> messages = host.messages();
  for (std::string& failure : life.failures) failure += textOf(messages);
  return messages;
}

bool Arena::hasTemporary(const std::string& version) const {
  const std::wstring start = L".update-" + toWide(version) + L'-';
  return std::ranges::any_of(namesIn(tree_.root()), [&](const std::wstring& name) { return name.starts_with(start); });
}

Violations Arena::completeCycle() {
  const Leftovers before = leftovers();
  const Life life = live();
  Violations violations = life.failures;
  if (life.completed()) {
    append(violations, checkNewVersion(life));
    append(violations, checkLeftovers(life, before));
  } else {
    violations.push_back("The next cycle ended at " + std::string(nameOf(life.step)));
  }
  append(violations, check());
  return violations;
}

Violations Arena::checkNewVersion(const Life& life) const {
  const std::wstring version = toWide(life.version);
  const std::wstring module = joinPath(joinPath(tree_.root(), version), kModule);
  Violations violations;
  if (!mentions(life.messages, L"Load plugin success, path: " + module, L", version: " + version)) {
    violations.push_back("The next version was not loaded: " + life.version);
  }
  for (const std::wstring& name : namesIn(tree_.root())) {
    const bool candidate = fileExists(joinPath(joinPath(tree_.root(), name), kModule));
    if (candidate && name != version && !isTemporary(name)) {
      violations.push_back("It was not removed: " + toUtf8(name));
    }
  }
  return violations;
}

Violations Arena::checkLeftovers(const Life& life, const Leftovers& before) const {
  Violations violations;
  const Leftovers after = leftovers();
  if (after != thatStay(before)) {
    violations.push_back("A complete cycle left" + describe(after) + ", after" + describe(before));
  }
  for (const auto& [path, kind] : before) {
    const std::wstring left = joinPath(tree_.base(), path);
    const bool named = mentions(life.messages, L"Skip non version directory: ", left) ||
                       mentions(life.messages, L"Get dll version fail! ", left);
    if (kind == Leftover::TemporaryWithModule && !named) {
      violations.push_back("The log does not name " + toUtf8(left));
    }
  }
  return violations;
}

Leftovers Arena::leftovers() const {
  Leftovers found;
  for (const std::wstring& name : namesIn(tree_.root())) {
    const std::wstring directory = joinPath(tree_.root(), name);
    const bool module = fileExists(joinPath(directory, kModule));
    if (isTemporary(name)) {
      found[L"root\\" + name] = module ? Leftover::TemporaryWithModule : Leftover::TemporaryWithoutModule;
    } else if (published_.contains(name) && !isWhole(name)) {
      found[L"root\\" + name] = module ? Leftover::PartWithModule : Leftover::PartWithoutModule;
    }
  }
  const std::wstring downloads = L"zuviaplugin\\cache\\update";
  for (const std::wstring& name : namesIn(joinPath(tree_.appPath(), downloads))) {
    found[L"app\\" + joinPath(downloads, name)] = Leftover::Package;
  }
  return found;
}

bool Arena::isWhole(const std::wstring& version) const {
  return checkContent(joinPath(tree_.root(), version), published_.at(version), false).empty();
}

Leftovers Arena::thatStay(Leftovers leftovers) {
  std::erase_if(leftovers, [](const auto& leftover) { return leftover.second == Leftover::PartWithModule; });
  return leftovers;
}

std::wstring Arena::keep() {
  tree_.keep();
  return tree_.base();
}

}  // namespace zuvia::test
