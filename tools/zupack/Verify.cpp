#include "zupack/Verify.h"

#include <utility>
#include <vector>

#include "common/Limits.h"
#include "common/VersionText.h"
#include "shared/CommandLine.h"
#include "shared/EntryText.h"
#include "shared/PendingFile.h"
#include "shared/Utf8.h"
#include "updater/ZuDllUpdater.h"
#include "zupack/Files.h"
#include "zupack/PackageContent.h"
#include "zupack/ProductLog.h"
#include "zupack/TemporaryDirectory.h"

namespace zuvia::zupack {
namespace {

constexpr const char* kEntryCheck = "entry";

// What a check says: nothing when it was passed.
using Fault = std::optional<std::string>;

class Checks {
 public:
  Checks(const std::filesystem::path& package, const UpdateEntry& entry)
      : package_(package.wstring()), entry_(entry), module_(unpacked_.path() + L"\\" + tools::toWide(kModuleName)) {}

  Fault members() const {
    for (const auto& [name, value] : {std::pair("ver", &entry_.ver), std::pair("pmd5", &entry_.pmd5),
                                      std::pair("dmd5", &entry_.dmd5), std::pair("url", &entry_.url)}) {
      if (value->empty()) return std::string(name) + " is missing or empty";
    }
    return std::nullopt;
  }

  Fault https() const {
    if (entry_.url.starts_with("https://")) return std::nullopt;
    return "url must begin with https://, but is " + entry_.url;
  }

  Fault version() {
    if (parseUpdateVersion(entry_.ver, version_)) return std::nullopt;
    return "not 3 or 4 numbers of at most 65535 joined by dots: " + entry_.ver;
  }

  Fault packageSize() const {
    const std::uintmax_t size = std::filesystem::file_size(package_);
    if (size <= static_cast<std::uintmax_t>(kMaxPackageBytes)) return std::nullopt;
    return std::to_string(size) + " bytes are more than " + std::to_string(kMaxPackageBytes);
  }

  Fault packageDigest() { return digestFault(package_, entry_.pmd5); }
  Fault moduleDigest() { return digestFault(module_, entry_.dmd5); }

  Fault unpacking() {
    return ZuDllUpdater::unZip(package_, unpacked_.path()) ? std::nullopt : cause("the package cannot be unpacked");
  }

  Fault moduleVersion() {
    DllCandidate found;
    if (!ZuDllUpdater::getDllVersion(module_, found)) return cause("the module has no version");
    if (isSameVersion(found, version_)) return std::nullopt;
    return "the module's is " + candidateVersionString(found) + ", the entry's " + entry_.ver;
  }

 private:
  Fault digestFault(const std::wstring& file, const std::string& expected) {
    const std::string found = ZuDllUpdater::getFileMD5(file);
    if (ZuDllUpdater::isSameDigest(found, expected)) return std::nullopt;
    return found.empty() ? cause("it cannot be computed") : "the file's is " + found + ", the entry's " + expected;
  }

  // What the updater logged about it.
  Fault cause(const char* otherwise) { return log_.takeFirst().value_or(otherwise); }

  const std::wstring package_;
  const UpdateEntry entry_;
  ProductLog log_;  // catches what the removal of the directory has to say, too
  const TemporaryDirectory unpacked_;
  const std::wstring module_;
  DllCandidate version_;
};

struct Check {
  const char* name;
  Fault (*run)(Checks&);
};

constexpr Check kChecks[] = {
    {"entry members", [](Checks& checks) { return checks.members(); }},
    {"entry url", [](Checks& checks) { return checks.https(); }},
    {"entry version", [](Checks& checks) { return checks.version(); }},
    {"package size", [](Checks& checks) { return checks.packageSize(); }},
    {"package digest (pmd5)", [](Checks& checks) { return checks.packageDigest(); }},
    {"unpacking", [](Checks& checks) { return checks.unpacking(); }},
    {"module digest (dmd5)", [](Checks& checks) { return checks.moduleDigest(); }},
    {"module version", [](Checks& checks) { return checks.moduleVersion(); }},
};

void pass(const CheckReport& passed, const char* name) {
  if (passed) passed(name);
}

}  // namespace

std::optional<std::string> verifyFiles(const std::filesystem::path& package, const std::filesystem::path& entryFile,
                                       const CheckReport& passed) {
  requireFile(package);
  const std::string text = tools::readWholeFile(entryFile, tools::kMaxEntryBytes);
  UpdateEntry entry;
  try {
    entry = tools::parseEntry(text);
  } catch (const tools::Failure& failure) {
    return std::string(kEntryCheck) + ": " + failure.what();
  }
  pass(passed, kEntryCheck);
  return verifyEntry(package, entry, passed);
}

std::optional<std::string> verifyEntry(const std::filesystem::path& package, const UpdateEntry& entry,
                                       const CheckReport& passed) {
  requireFile(package);
  Checks checks(package, entry);
  for (const Check& check : kChecks) {
    if (const Fault fault = check.run(checks)) return std::string(check.name) + ": " + *fault;
    pass(passed, check.name);
  }
  return std::nullopt;
}

}  // namespace zuvia::zupack
