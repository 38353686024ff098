#include "zupack/UnpackedPackage.h"

#include <algorithm>
#include <utility>

#include "shared/CommandLine.h"
#include "shared/Utf8.h"
#include "updater/ZuDllUpdater.h"
#include "zupack/BaseUrl.h"
#include "zupack/Files.h"
#include "zupack/PackageContent.h"
#include "zupack/ProductLog.h"

namespace zuvia::zupack {
namespace {

using tools::Failure;

}  // namespace

UnpackedPackage::UnpackedPackage(const std::filesystem::path& package) {
  requireFile(package);
  ProductLog log;
  if (ZuDllUpdater::unZip(package.wstring(), directory_.path())) return;
  throw Failure(
      "hosts would refuse " + tools::pathText(package) + ": " + log.takeFirst().value_or("it cannot be unpacked"),
      tools::kCheckFailed);
}

std::filesystem::path UnpackedPackage::module() const {
  return pathOf(kModuleName);
}

std::vector<std::string> UnpackedPackage::names() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory_.path())) {
    if (!entry.is_regular_file()) continue;
    names.push_back(tools::toUtf8(entry.path().lexically_relative(directory_.path()).generic_wstring()));
  }
  std::ranges::sort(names);
  return names;
}

std::filesystem::path UnpackedPackage::pathOf(const std::string& name) const {
  return std::filesystem::path(directory_.path()) / tools::toPath(name);
}

Neighbours UnpackedPackage::neighbours() const {
  return librariesIn(directory_.path());
}

Neighbours librariesIn(std::filesystem::path directory) {
  return [directory = std::move(directory)](const std::string& name) -> std::optional<std::filesystem::path> {
    if (name.find_first_of("/\\:") != std::string::npos) return std::nullopt;
    std::filesystem::path file = directory / tools::toPath(name);
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) return std::nullopt;
    return file;
  };
}

PackageFacts examinePackage(const std::filesystem::path& package, const std::set<std::string>& hostLibraries) {
  const UnpackedPackage unpacked(package);
  LoadingCheck check = checkLoading(unpacked.module(), {unpacked.neighbours(), hostLibraries});
  return {{check.version.value_or(""), digestOf(package), digestOf(unpacked.module()), ""}, std::move(check.faults)};
}

UpdateEntry entryOf(const std::filesystem::path& package, const std::string& baseUrl,
                    const std::set<std::string>& hostLibraries, bool force, std::vector<std::string>& overridden) {
  checkBaseUrl(baseUrl);
  const std::string name = tools::toUtf8(package.filename().wstring());
  if (!isUrlName(name)) {
    throw Failure("not a name for an address: " + tools::quoted(name) +
                  "; rename it with ASCII letters, digits, - . _ ~");
  }
  PackageFacts facts = examinePackage(package, hostLibraries);
  if (!force) requireLoadable(tools::pathText(package), facts.faults);
  if (facts.entry.ver.empty()) throw Failure("no version resource in the module of " + tools::pathText(package));
  overridden = std::move(facts.faults);
  facts.entry.url = joinUrl(baseUrl, name);
  return facts.entry;
}

void requireLoadable(const std::string& what, const std::vector<std::string>& faults) {
  if (faults.empty()) return;
  const std::string others =
      faults.size() == 1 ? "" : " (" + std::to_string(faults.size() - 1) + " more: zupack inspect)";
  throw Failure("no host could load " + what + ": " + faults.front() + others, tools::kCheckFailed);
}

}  // namespace zuvia::zupack
