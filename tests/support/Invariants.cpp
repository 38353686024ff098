#include "support/Invariants.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string_view>

#include "support/Digest.h"
#include "support/HostProcess.h"
#include "support/SecondProcess.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

void append(Violations& violations, Violations more) {
  std::ranges::move(more, std::back_inserter(violations));
}

// What stands in a message after this beginning; nothing: it begins otherwise.
std::optional<std::wstring> after(std::wstring_view beginning, const std::wstring& message) {
  if (!message.starts_with(beginning)) return std::nullopt;
  return message.substr(beginning.size());
}

std::wstring lastName(const std::wstring& path) {
  return path.substr(path.rfind(L'\\') + 1);
}

bool isVersionName(const std::wstring& name) {
  return name.find_first_not_of(L"0123456789.") == std::wstring::npos &&
         name.find_first_of(L"0123456789") != std::wstring::npos;
}

bool isHigher(const Candidate& candidate, const Candidate* chosen) {
  return candidate.version && (chosen == nullptr || candidate.version > chosen->version);
}

bool names(const std::vector<WideText>& messages, const std::vector<std::wstring>& beginnings) {
  return std::ranges::any_of(messages, [&](const WideText& message) {
    return std::ranges::any_of(beginnings,
                               [&](const std::wstring& beginning) { return message.starts_with(beginning); });
  });
}

bool reasonIsLogged(const Candidate& candidate, const std::vector<WideText>& messages) {
  if (!candidate.version) {
    return std::ranges::any_of(messages, [&](const WideText& message) {
      return message.starts_with(L"Get dll version fail!") && message.find(candidate.path) != std::wstring::npos;
    });
  }
  const std::wstring which = L", path: " + candidate.path + L", version: " + toWide(versionText(*candidate.version));
  return names(messages,
               {L"Load plugin failed" + which + L", error: ",
                L"Plugin export createImpl not found" + which + L", error: ", L"Plugin create returned null" + which});
}

// The module that was loaded, as the log tells it.
const Candidate* chosenOf(const FreshStart& start) {
  for (const Candidate& candidate : start.candidates) {
    if (!candidate.version) continue;
    const std::wstring message =
        L"Load plugin success, path: " + candidate.path + L", version: " + toWide(versionText(*candidate.version));
    if (std::ranges::count(start.messages, message) != 0) return &candidate;
  }
  return nullptr;
}

std::wstring nameOfLock(const std::wstring& version) {
  return L"Local\\ZuviaPluginUpdate-" + version;
}

// Whether the module was in the process, for a while at least.
bool tellsOfALoadedModule(const WideText& message) {
  constexpr std::array kStarts = {L"Load plugin success, path: ", L"Plugin create returned null, path: ",
                                  L"Plugin export createImpl not found, path: "};
  return std::ranges::any_of(kStarts, [&](const wchar_t* start) { return message.starts_with(start); });
}

}  // namespace

Violations checkChoice(const FreshStart& start) {
  const Candidate* chosen = chosenOf(start);
  Violations violations;
  if (chosen == nullptr) {
    violations.emplace_back("No version was loaded");
  } else if (!chosen->loads) {
    violations.push_back("What was loaded does not load: " + toUtf8(chosen->path));
  }
  for (const Candidate& candidate : start.candidates) {
    if (candidate.loads && isHigher(candidate, chosen)) {
      violations.push_back("Higher, and loads, but was not chosen: " + toUtf8(candidate.path));
    } else if ((!candidate.version || isHigher(candidate, chosen)) && !reasonIsLogged(candidate, start.messages)) {
      violations.push_back("The log does not say why not: " + toUtf8(candidate.path));
    }
  }
  return violations;
}

Violations checkGrowth(const FreshStart& start) {
  const auto modules = static_cast<std::size_t>(std::ranges::count_if(start.messages, &tellsOfALoadedModule));
  Violations violations;
  for (const auto& [type, number] : start.growth) {
    const std::size_t kept = type == "Thread" || type == "Event" ? modules : 0;
    if (number > kept) violations.push_back("A load leaves open: " + std::to_string(number) + ' ' + type);
  }
  return violations;
}

Violations checkContent(const std::wstring& directory, const TreeListing& published, bool partly) {
  const TreeListing found = listTree(directory);
  Violations violations;
  for (const auto& [path, content] : published) {
    const auto file = found.find(path);
    const bool missing = file == found.end();
    if (missing ? partly : file->second == content) continue;
    violations.push_back((missing ? "Missing: " : "Different: ") + toUtf8(joinPath(directory, path)));
  }
  for (const auto& [path, content] : found) {
    if (!published.contains(path)) violations.push_back("Not published: " + toUtf8(joinPath(directory, path)));
  }
  return violations;
}

Invariants::Invariants(const InstallTree& tree) : tree_(tree) {
  writeFile(joinPath(tree.base(), L"beside\\file.txt"), "left alone");
  for (const auto& entry : std::filesystem::directory_iterator(tree.root())) {
    const std::wstring name = entry.path().filename().wstring();
    if (!entry.is_directory() || !isVersionName(name)) continue;
    published_[name] = listTree(entry.path().wstring());
    whole_.insert(name);
  }
  surroundings_ = surroundings();
}

void Invariants::expectVersion(const std::wstring& version, const TreeListing& files) {
  published_[version] = files;
}

void Invariants::hostSaid(const std::vector<WideText>& messages) {
  for (const WideText& message : messages) {
    if (const auto removed = after(L"Try delete unused plugin: ", message)) {
      whole_.erase(lastName(*removed));
      removed_.insert(lastName(*removed));
    }
    if (const auto moved = after(L"MoveFileExW  published: true, dest: ", message)) {
      whole_.insert(lastName(*moved));
      removed_.erase(lastName(*moved));
    }
  }
}

Violations Invariants::violations() const {
  Violations violations = checkVersions();
  append(violations, checkLocks());
  const FreshStart start = startFresh();
  append(violations, checkChoice(start));
  append(violations, checkGrowth(start));
  append(violations, checkVersions());  // loading removes nothing
  append(violations, checkSurroundings());
  return violations;
}

FreshStart Invariants::startFresh() const {
  FreshStart start;
  start.candidates = HostProcess(tree_).findCandidates();
  HostProcess host(tree_);
  host.load();
  start.messages = host.messages();
  host.unload();
  const HandleCount once = host.handles();
  host.load();
  host.unload();
  for (const auto& [type, number] : host.handles()) {
    const auto before = once.find(type);
    const std::size_t had = before == once.end() ? 0 : before->second;
    if (number > had) start.growth[type] = number - had;
  }
  return start;
}

Violations Invariants::checkVersions() const {
  Violations violations;
  for (const auto& [version, files] : published_) {
    const std::wstring directory = joinPath(tree_.root(), version);
    if (directoryExists(directory)) {
      append(violations, checkContent(directory, files, removed_.contains(version)));
    } else if (whole_.contains(version)) {
      violations.push_back("Lost: " + toUtf8(directory));
    }
  }
  return violations;
}

Violations Invariants::checkSurroundings() const {
  const std::string changes = describeChanges(surroundings_, surroundings());
  return changes.empty() ? Violations() : Violations{"Around the install tree: " + changes};
}

Violations Invariants::checkLocks() const {
  std::vector<std::wstring> locks = {L"Local\\ZuviaPluginCurlGlobal", L"Local\\ZuviaPluginCleanup"};
  for (const auto& [version, files] : published_) locks.push_back(nameOfLock(version));
  SecondProcess second;
  Violations violations;
  for (const std::wstring& lock : locks) {
    const MutexState state = second.tryMutex(lock);
    if (state != MutexState::Missing) violations.push_back(toUtf8(lock) + " is " + std::string(nameOf(state)));
  }
  return violations;
}

// What lies beside root and application path, the plugin, and what the root holds beside version directories and what
// an update leaves when its process dies; of the directories for temporary files and of the drive, the names.
TreeListing Invariants::surroundings() const {
  TreeListing listing;
  const std::wstring beside = joinPath(tree_.base(), L"beside");
  for (const auto& [path, content] : listTree(beside)) listing[joinPath(beside, path)] = content;
  for (const std::wstring& directory : {tree_.base(), temporaryDirectory(), std::wstring(L"C:\\")}) {
    for (const auto& entry : std::filesystem::directory_iterator(directory)) listing[entry.path().wstring()] = "there";
  }
  for (const auto& entry : std::filesystem::directory_iterator(tree_.root())) {
    const std::wstring name = entry.path().filename().wstring();
    if (!isVersionName(name) && !name.starts_with(L".update-")) listing[entry.path().wstring()] = "there";
  }
  listing[L"plugin"] = sha256(readFile(tree_.pluginPath()));
  return listing;
}

}  // namespace zuvia::test
