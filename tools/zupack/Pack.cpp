#include "zupack/Pack.h"

#include <algorithm>
#include <optional>

#include "common/VersionText.h"
#include "platform/Windows.h"
#include "shared/CommandLine.h"
#include "shared/EntryText.h"
#include "shared/PendingFile.h"
#include "shared/Utf8.h"
#include "zupack/BaseUrl.h"
#include "zupack/Files.h"
#include "zupack/Loading.h"
#include "zupack/PackageContent.h"
#include "zupack/UnpackedPackage.h"
#include "zupack/Verify.h"

namespace zuvia::zupack {
namespace {

using tools::Failure;

// The module, then its companions in an order that is always the same.
std::vector<PackageFile> contentOf(const PackOptions& options) {
  std::vector<PackageFile> files{{kModuleName, options.module}};
  for (const std::string& addition : options.additions) files.push_back(parseAddition(addition));
  checkContent(files);
  std::sort(files.begin() + 1, files.end(), [](const auto& left, const auto& right) { return left.name < right.name; });
  return files;
}

// What will lie beside the module.
Neighbours neighboursAmong(const std::vector<PackageFile>& files) {
  return [&files](const std::string& name) -> std::optional<std::filesystem::path> {
    const auto found = std::ranges::find(files, lowerCase(name), [](const auto& file) { return lowerCase(file.name); });
    if (found == files.end()) return std::nullopt;
    return found->file;
  };
}

std::string versionOf(const PackOptions& options, const LoadingCheck& check) {
  if (check.version) {
    if (options.version.empty()) return *check.version;
    throw Failure("--as is for a module without a version resource, and hosts find " + *check.version + " in " +
                  tools::pathText(options.module) + "; leave --as out, or build the module with another version");
  }
  DllCandidate version;
  if (options.version.empty())
    throw Failure("no version resource in " + tools::pathText(options.module) + "; with --force, --as names a version");
  if (!parseUpdateVersion(options.version, version)) {
    throw Failure("--as must be 3 or 4 numbers of at most 65535 joined by dots, but is " +
                  tools::quoted(options.version));
  }
  return options.version;
}

// What hosts would have against the finished package. Never more than the module's version when the content was
// checked.
void requireAcceptable(const std::filesystem::path& package, const PackOptions& options, PackResult& result) {
  const auto fault = verifyEntry(package, result.entry);
  if (!fault) return;
  if (!options.force) throw Failure("hosts would refuse it: " + *fault);
  result.overridden.push_back(*fault);
}

// The old entry goes before its package changes, the new one comes when its package is there.
void publish(tools::PendingFile& package, const PackResult& result) {
  removeFile(result.entryFile);
  package.commit();
  tools::writeWholeFile(result.entryFile, tools::entryText(result.entry, tools::EntryLayout::Readable));
}

}  // namespace

PackResult pack(const PackOptions& options) {
  checkBaseUrl(options.baseUrl);
  requireFile(options.module);
  const std::vector<PackageFile> files = contentOf(options);
  LoadingCheck check = checkLoading(options.module, {neighboursAmong(files), options.hostLibraries});
  if (!options.force) requireLoadable(tools::pathText(options.module), check.faults);
  const std::string version = versionOf(options, check);
  const std::string packageName = "zuimpl-" + version + ".7z";
  PackResult result{options.directory / packageName,
                    options.directory / ("zuimpl-" + version + ".json"),
                    {},
                    std::move(check.faults)};
  makeDirectory(options.directory);
  tools::PendingFile package(result.package);
  writeArchive(package.path(), files, options.progress);
  result.entry = {version, digestOf(package.path()), digestOf(options.module), joinUrl(options.baseUrl, packageName)};
  requireAcceptable(package.path(), options, result);
  publish(package, result);
  return result;
}

}  // namespace zuvia::zupack
