#include "zupack/Site.h"

#include <algorithm>
#include <utility>

#include "common/VersionText.h"
#include "platform/Directories.h"
#include "platform/Windows.h"
#include "shared/CommandLine.h"
#include "shared/ConfigAnswer.h"
#include "shared/PendingFile.h"
#include "shared/SystemError.h"
#include "shared/Utf8.h"
#include "updater/ZuDllUpdater.h"
#include "zupack/BaseUrl.h"
#include "zupack/Files.h"
#include "zupack/NginxConfiguration.h"
#include "zupack/ProductLog.h"
#include "zupack/TemporaryDirectory.h"
#include "zupack/UnpackedPackage.h"
#include "zupack/Verify.h"

namespace zuvia::zupack {
namespace {

using tools::Failure;

constexpr std::size_t kMaxConfigurationBytes = 1 << 20;
constexpr const char* kPackages = "packages";
constexpr const char* kAnswers = "answers";
constexpr const char* kNoAnswer = "nothing.json";
constexpr const char* kNone = "none";

// ---- What is wanted

SiteSettings settingsBefore(const std::filesystem::path& configuration) {
  SiteSettings settings;
  settings.listen = "443";
  if (!isFile(configuration.wstring())) return settings;
  try {
    return settingsIn(tools::readWholeFile(configuration, kMaxConfigurationBytes));
  } catch (const Failure& failure) {
    throw Failure(tools::pathText(configuration) + ": " + failure.what() +
                  "; move it away and name all options to begin anew");
  }
}

void take(std::string& setting, const std::optional<std::string>& option) {
  if (option) setting = *option;
}

void checkSettings(const SiteSettings& settings, const std::filesystem::path& directory) {
  const auto requireGiven = [&](const std::string& option, bool isGiven) {
    if (isGiven) return;
    throw Failure(option + " is required at the first run for a directory, and " + tools::pathText(directory) +
                  " holds no site yet");
  };
  requireGiven("--package", settings.offered.has_value());
  requireGiven("--server", !settings.server.empty());
  requireGiven("--root", !settings.root.empty());
  requireGiven("--certificate", !settings.certificate.empty());
  requireGiven("--key", !settings.key.empty());
  checkServerName(settings.server);
  checkListen(settings.listen);
  checkServerPath("--root", settings.root);
  checkServerPath("--certificate", settings.certificate);
  checkServerPath("--key", settings.key);
  checkBaseUrl(siteUrl(settings));
}

DllCandidate versionOf(const SitePackage& package) {
  DllCandidate version;
  if (!parseUpdateVersion(package.ver, version))
    throw Failure("no version that hosts accept: " + tools::quoted(package.ver));
  return version;
}

void checkOrder(const SiteSettings& settings) {
  const DllCandidate offered = versionOf(*settings.offered);
  if (!settings.others || isOlder(versionOf(*settings.others), offered)) return;
  throw Failure("hosts only go to newer versions, and " + settings.offered->ver + " is not newer than " +
                settings.others->ver +
                ", which the others are offered; pack it under a higher version, or name --others");
}

// ---- What is there, and what comes

// What a run has added so far; taken away again unless the run comes to its end.
class Additions {
 public:
  Additions() = default;
  Additions(const Additions&) = delete;
  Additions& operator=(const Additions&) = delete;
  ~Additions() {
    for (; !made_.empty(); made_.pop_back()) {
      if (DeleteFileW(made_.back().c_str()) == FALSE) RemoveDirectoryW(made_.back().c_str());
    }
  }

  void addDirectory(const std::filesystem::path& directory) {
    if (isDirectory(directory.wstring())) return;
    if (directory.has_parent_path() && directory.parent_path() != directory) addDirectory(directory.parent_path());
    makeDirectory(directory);
    made_.push_back(directory);
  }

  // Before the file is written. What lies there already is replaced, but never taken away.
  void addFile(const std::filesystem::path& file) {
    if (!isFile(file.wstring())) made_.push_back(file);
  }
  void keep() { made_.clear(); }

 private:
  std::vector<std::filesystem::path> made_;
};

class Layout {
 public:
  explicit Layout(std::filesystem::path directory) : directory_(std::move(directory)) {}

  std::filesystem::path configuration() const { return directory_ / kSiteConfiguration; }

  // Puts a package to its place, unless it lies there already.
  void addPackage(const std::filesystem::path& from, const SitePackage& package);

  // Writes the answer that offers a package, or nothing. Returns its name.
  std::string addAnswer(const std::optional<SitePackage>& package, const std::string& url);

  void requirePackage(const SitePackage& package) const;
  void publish(const std::string& configuration);
  void prune(const SiteSettings& settings, const SiteAnswers& answers) const;

 private:
  std::filesystem::path placeOf(const SitePackage& package) const {
    return directory_ / tools::toPath(package.place());
  }

  std::filesystem::path directory_;
  Additions additions_;
};

bool hasDigest(const std::filesystem::path& file, const std::string& digest) {
  return isFile(file.wstring()) && digestOf(file) == digest;
}

void copyPackage(const std::filesystem::path& from, const std::filesystem::path& to) {
  if (CopyFileW(from.c_str(), to.c_str(), TRUE) != FALSE) return;
  const DWORD error = GetLastError();
  throw Failure("cannot copy " + tools::pathText(from) + ": " + tools::systemErrorText(error));
}

void Layout::addPackage(const std::filesystem::path& from, const SitePackage& package) {
  const std::filesystem::path place = placeOf(package);
  if (hasDigest(place, package.pmd5)) return;
  additions_.addDirectory(place.parent_path());
  tools::PendingFile file(place);
  copyPackage(from, file.path());
  if (!hasDigest(file.path(), package.pmd5)) throw Failure("it changed meanwhile: " + tools::pathText(from));
  additions_.addFile(place);
  file.commit();
}

std::string digestOfText(const std::string& text) {
  const TemporaryDirectory directory;
  makeDirectory(directory.path());
  const std::filesystem::path file = std::filesystem::path(directory.path()) / "text";
  tools::writeWholeFile(file, text);
  return digestOf(file);
}

std::string Layout::addAnswer(const std::optional<SitePackage>& package, const std::string& url) {
  std::optional<UpdateEntry> entry;
  if (package) entry = {package->ver, package->pmd5, package->dmd5, joinUrl(url, package->place())};
  const std::string text = tools::configurationAnswer(entry);
  const std::string digest = digestOfText(text);
  std::string name = package ? package->ver + '-' + digest + ".json" : kNoAnswer;
  const std::filesystem::path file = directory_ / kAnswers / name;
  if (hasDigest(file, digest)) return name;
  additions_.addDirectory(file.parent_path());
  additions_.addFile(file);
  tools::writeWholeFile(file, text);
  return name;
}

void Layout::requirePackage(const SitePackage& package) const {
  if (hasDigest(placeOf(package), package.pmd5)) return;
  throw Failure("not there any more as it was published: " + tools::pathText(placeOf(package)) +
                "; put it back, or name another with --package or --others");
}

void Layout::publish(const std::string& configuration) {
  additions_.addDirectory(directory_);
  tools::writeWholeFile(this->configuration(), configuration);
  additions_.keep();
}

// Removes what a directory holds, except for these names.
void removeOthers(const std::filesystem::path& directory, const std::set<std::string>& names) {
  if (!isDirectory(directory.wstring())) return;
  ProductLog log;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (names.contains(tools::toUtf8(entry.path().filename().wstring()))) continue;
    const bool isGone = entry.is_directory() ? ZuDllUpdater::deleteDirectory(entry.path().wstring())
                                             : DeleteFileW(entry.path().c_str()) != FALSE;
    if (!isGone) throw Failure("published, but cannot remove " + tools::pathText(entry.path()));
  }
}

void Layout::prune(const SiteSettings& settings, const SiteAnswers& answers) const {
  std::set<std::string> digests{settings.offered->pmd5};
  if (settings.others) digests.insert(settings.others->pmd5);
  removeOthers(directory_ / kPackages, digests);
  removeOthers(directory_ / kAnswers, {answers.offered, answers.others});
}

// ---- One run

class Run {
 public:
  explicit Run(const SiteOptions& options)
      : options_(options), layout_(options.directory), settings_(settingsBefore(layout_.configuration())) {}

  SiteResult make() {
    takeTexts();
    takePackages();
    checkSettings(settings_, options_.directory);
    checkOrder(settings_);
    place(settings_.offered, options_.package);
    place(settings_.others, options_.others);
    const std::string url = siteUrl(settings_);
    const SiteAnswers answers{layout_.addAnswer(settings_.offered, url), layout_.addAnswer(settings_.others, url)};
    layout_.publish(nginxConfiguration(settings_, answers));
    if (options_.prune) layout_.prune(settings_, answers);
    return {settings_, overridden_};
  }

 private:
  void takeTexts() {
    take(settings_.server, options_.server);
    take(settings_.listen, options_.listen);
    take(settings_.root, options_.root);
    take(settings_.certificate, options_.certificate);
    take(settings_.key, options_.key);
    take(settings_.url, options_.url);
  }

  // Before the share is taken, which may say what was offered to everybody until now.
  void takePackages() {
    if (options_.package) {
      if (!options_.share) throw Failure("--share is required with --package: the share of users that gets it");
      SitePackage next = sitePackage(*options_.package);
      const bool isAnother = settings_.offered && *settings_.offered != next;
      if (isAnother && settings_.share.isEverybody()) settings_.others = settings_.offered;
      settings_.offered = std::move(next);
    }
    if (options_.others) {
      settings_.others = isNone(*options_.others) ? std::nullopt : std::optional(sitePackage(*options_.others));
    }
    if (options_.share) settings_.share = tools::parsedOption("--share", *options_.share, tools::Share::parse);
  }

  static bool isNone(const std::filesystem::path& package) { return package == kNone; }

  SitePackage sitePackage(const std::filesystem::path& package) {
    std::vector<std::string> overridden;
    const UpdateEntry entry = entryOf(package, "https://site", options_.hostLibraries, options_.force, overridden);
    std::ranges::move(overridden, std::back_inserter(overridden_));
    return {tools::toUtf8(package.filename().wstring()), entry.ver, entry.pmd5, entry.dmd5};
  }

  void place(const std::optional<SitePackage>& package, const std::optional<std::filesystem::path>& from) {
    if (!package) return;
    if (from) {
      layout_.addPackage(*from, *package);
    } else {
      layout_.requirePackage(*package);
    }
  }

  const SiteOptions& options_;
  Layout layout_;
  SiteSettings settings_;
  std::vector<std::string> overridden_;
};

}  // namespace

SiteResult makeSite(const SiteOptions& options) {
  return Run(options).make();
}

}  // namespace zuvia::zupack
