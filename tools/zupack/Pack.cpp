#include "zupack/Pack.h"

#include <algorithm>
#include <string_view>

#include "common/VersionText.h"
#include "platform/Directories.h"
#include "platform/Windows.h"
#include "shared/CommandLine.h"
#include "shared/EntryText.h"
#include "shared/PendingFile.h"
#include "shared/SystemError.h"
#include "shared/Utf8.h"
#include "updater/ZuDllUpdater.h"
#include "zupack/ArchiveWriter.h"
#include "zupack/PackageContent.h"
#include "zupack/ProductLog.h"
#include "zupack/Verify.h"

namespace zuvia::zupack {
namespace {

using tools::Failure;

constexpr std::string_view kScheme = "https://";

// Letters that need no escaping, and none that would end the path of a URL before the file's name.
bool isUrlCharacter(char character) {
  constexpr std::string_view kMarks = "-._~:/[]@!$&'()*+,;=%";
  const bool isAlphanumeric = (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
                              (character >= 'a' && character <= 'z');
  return isAlphanumeric || kMarks.find(character) != std::string_view::npos;
}

void checkBaseUrl(std::string_view url) {
  if (!url.starts_with(kScheme)) throw Failure("--url must begin with https://, but is " + tools::quoted(url));
  const std::string_view rest = url.substr(kScheme.size());
  if (rest.empty() || rest.front() == '/') throw Failure("--url names no host: " + tools::quoted(url));
  if (!std::ranges::all_of(rest, isUrlCharacter)) {
    throw Failure("--url must be plain ASCII without blanks, query or fragment, but is " + tools::quoted(url));
  }
}

std::string joinUrl(const std::string& base, const std::string& name) {
  return base + (base.ends_with('/') ? "" : "/") + name;
}

std::string versionOf(const std::filesystem::path& module) {
  ProductLog log;
  DllCandidate version;
  if (!isFile(module.wstring())) throw Failure("not a file: " + tools::pathText(module));
  if (!ZuDllUpdater::getDllVersion(module.wstring(), version)) {
    throw Failure(log.takeFirst().value_or("no version in " + tools::pathText(module)));
  }
  return candidateVersionString(version);
}

std::string digestOf(const std::filesystem::path& file) {
  ProductLog log;
  std::string digest = ZuDllUpdater::getFileMD5(file.wstring());
  if (digest.empty()) throw Failure(log.takeFirst().value_or("cannot read " + tools::pathText(file)));
  return digest;
}

std::vector<PackageFile> contentOf(const PackOptions& options) {
  std::vector<PackageFile> files{{kModuleName, options.module}};
  for (const std::string& addition : options.additions) files.push_back(parseAddition(addition));
  checkContent(files);
  return files;
}

void makeDirectory(const std::filesystem::path& directory) {
  const int code = createDirectories(std::filesystem::absolute(directory).wstring());
  if (isDirectory(directory.wstring())) return;
  throw Failure("cannot make the directory " + tools::pathText(directory) + ": " +
                tools::systemErrorText(static_cast<std::uint32_t>(code)));
}

void removeFile(const std::filesystem::path& file) {
  if (DeleteFileW(file.c_str()) != FALSE) return;
  const DWORD error = GetLastError();
  if (error == ERROR_FILE_NOT_FOUND) return;
  throw Failure("cannot replace " + tools::pathText(file) + ": " + tools::systemErrorText(error));
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
  const std::string version = versionOf(options.module);
  const std::vector<PackageFile> files = contentOf(options);
  const std::string packageName = "zuimpl-" + version + ".7z";
  PackResult result{options.directory / packageName, options.directory / ("zuimpl-" + version + ".json"), {}};
  makeDirectory(options.directory);
  tools::PendingFile package(result.package);
  writeArchive(package.path(), files);
  result.entry = {version, digestOf(package.path()), digestOf(options.module), joinUrl(options.baseUrl, packageName)};
  if (const auto fault = verifyEntry(package.path(), result.entry)) throw Failure("hosts would refuse it: " + *fault);
  publish(package, result);
  return result;
}

}  // namespace zuvia::zupack
