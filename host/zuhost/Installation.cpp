#include "Installation.h"

#include <zuvia/Exports.h>

#include <algorithm>
#include <cwchar>
#include <set>

#include "InstallationFiles.h"
#include "ModuleFile.h"
#include "ProductMessages.h"
#include "Text.h"
#include "dllloader/ZuDllLoader.h"
#include "platform/DirectoryListing.h"

namespace zuhost {
namespace {

using zuvia::DllCandidate;
using zuvia::ZuDllLoader;

// Where a load of a module looks for the libraries that it needs.
class LibrarySearch {
 public:
  // plugin: what it needs is there before any implementation is loaded.
  LibrarySearch(const std::wstring& root, const std::wstring& plugin) : root_(root) {
    system_.resize(MAX_PATH);
    system_.resize(GetSystemDirectoryW(system_.data(), MAX_PATH));
    for (const auto& name : importsOrNone(plugin)) present_.insert(lowerCase(name));
  }

  // Returns the first library that a module needs, itself or through others, and that is not found; "" when all are.
  std::string missingFor(const std::wstring& directory, const ModuleFile& module) const {
    std::set<std::string> seen;
    return missing(directory, module.imports, seen);
  }

 private:
  static std::string lowerCase(std::string name) {
    std::ranges::transform(name, name.begin(),
                           [](char c) { return 'A' <= c && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return name;
  }

  static std::vector<std::string> importsOrNone(const std::wstring& file) {
    try {
      return readModuleFile(contentOf(file).value_or("")).imports;
    } catch (const NoModule&) {
      return {};
    }
  }

  std::string missing(const std::wstring& directory, const std::vector<std::string>& names,
                      std::set<std::string>& seen) const {
    for (const auto& given : names) {
      const std::string name = lowerCase(given);
      if (!seen.insert(name).second || isGiven(name)) continue;
      const std::wstring file = find(directory, wideOf(name));
      if (file.empty()) return given;
      std::string further = missing(directory, importsOrNone(file), seen);
      if (!further.empty()) return further;
    }
    return {};
  }

  // Names that stand for parts of the system, the system's own libraries, and what the host has loaded.
  bool isGiven(const std::string& name) const {
    return name.starts_with("api-ms-") || name.starts_with("ext-ms-") || present_.contains(name) ||
           factsOf(system_ + L'\\' + wideOf(name)).isFile;
  }

  std::wstring find(const std::wstring& directory, const std::wstring& name) const {
    for (const auto& place : {directory, root_}) {
      std::wstring file = place + L'\\';
      file += name;
      if (factsOf(file).isFile) return file;
    }
    return {};
  }

  std::wstring root_;
  std::wstring system_;
  std::set<std::string> present_;
};

std::string loadFault(const std::wstring& path, const LibrarySearch& search) {
  try {
    const auto content = contentOf(path);
    if (!content) return "its file cannot be read";
    const ModuleFile module = readModuleFile(*content);
    const auto missing = search.missingFor(path.substr(0, path.rfind(L'\\')), module);
    if (!missing.empty()) {
      return "it needs " + missing + ", which is neither beside it nor beside the plugin nor the system's";
    }
    if (std::ranges::find(module.exports, zuvia::kCreateImplExport) == module.exports.end()) {
      return std::string("it has no export ") + zuvia::kCreateImplExport;
    }
    return {};
  } catch (const NoModule& fault) {
    return fault.what();
  }
}

std::string firstOf(const std::vector<std::string>& messages) {
  return messages.empty() ? std::string("its version cannot be read") : messages.front();
}

class Look {
 public:
  Look(const std::filesystem::path& plugin, const std::filesystem::path& appPath) {
    const std::filesystem::path file = std::filesystem::absolute(plugin);
    found_.root = file.parent_path().native();
    found_.plugin = file.filename().native();
    search_.emplace(found_.root, file.native());
    lookAtPlugin(file.native());
    lookAtModules();
    lookAtChildren();
    found_.caches = cachesOf(appPath);
  }

  Installation take() { return std::move(found_); }

 private:
  void lookAtPlugin(const std::wstring& file) {
    DllCandidate version;
    found_.isPluginThere = factsOf(file).isFile;
    if (ZuDllLoader::getDllVersion(file, version)) found_.pluginVersion = candidateVersionString(version);
    found_.pluginUsers = users_.of(file);
    messages_.take();
  }

  void lookAtModules() {
    std::vector<std::wstring> paths;
    ZuDllLoader::scanDirectory(found_.root, paths);
    found_.messages = messages_.take();
    std::vector<DllCandidate> candidates;
    std::vector<FoundModule> others;
    for (const auto& path : paths) {
      DllCandidate candidate;
      if (ZuDllLoader::getDllVersion(path, candidate)) {
        candidates.push_back(candidate);
      } else {
        others.push_back({relative(path), {}, firstOf(messages_.take()), users_.of(path)});
      }
    }
    ZuDllLoader::sortNewestFirst(candidates);
    for (const auto& candidate : candidates) add(candidate);
    std::ranges::move(others, std::back_inserter(found_.modules));
  }

  void add(const DllCandidate& candidate) {
    found_.modules.push_back({relative(candidate.path), candidateVersionString(candidate),
                              loadFault(candidate.path, *search_), users_.of(candidate.path)});
    if (!found_.chosen && found_.modules.back().fault.empty()) found_.chosen = found_.modules.size() - 1;
  }

  void lookAtChildren() {
    zuvia::DirectoryListing listing(found_.root + L"\\*");
    while (listing && listing.next()) {
      const std::wstring path = found_.root + L'\\' + listing.name();
      if ((listing.attributes() & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        found_.directories.push_back(directory(path, listing.name(), listing.attributes()));
      } else if (_wcsicmp(listing.name(), found_.plugin.c_str()) != 0 && _wcsicmp(listing.name(), L"zuimpl.dll") != 0) {
        found_.files.push_back(fileAt(path, listing.name()));
      }
    }
    std::ranges::sort(found_.directories, {}, &FoundDirectory::name);
    std::ranges::sort(found_.files, {}, &FoundFile::name);
  }

  FoundDirectory directory(const std::wstring& path, const std::wstring& name, DWORD attributes) const {
    FoundDirectory found{.name = name, .kind = kindOf(path, name, attributes)};
    found.ageSeconds = factsOf(path).ageSeconds;
    if (found.kind != FoundDirectory::Kind::Link) count(path, found);
    return found;
  }

  FoundDirectory::Kind kindOf(const std::wstring& path, const std::wstring& name, DWORD attributes) const {
    using Kind = FoundDirectory::Kind;
    if (!zuvia::isPlainDirectory(attributes)) return Kind::Link;
    if (name.starts_with(L".update-")) return Kind::Temporary;
    if (!ZuDllLoader::isVersionDirectory(found_.root, path)) return Kind::Other;
    return factsOf(path + L"\\zuimpl.dll").isFile ? Kind::Version : Kind::Incomplete;
  }

  static void count(const std::wstring& path, FoundDirectory& found) {
    zuvia::DirectoryListing listing(path + L"\\*");
    while (listing && listing.next()) {
      const std::wstring child = path + L'\\' + listing.name();
      if (zuvia::isPlainDirectory(listing.attributes())) {
        count(child, found);
      } else {
        ++found.files;
        found.bytes += factsOf(child).bytes;
      }
    }
  }

  std::wstring relative(const std::wstring& path) const { return path.substr(found_.root.size() + 1); }

  ProductMessages messages_;
  ModuleUsers users_;
  Installation found_;
  std::optional<LibrarySearch> search_;
};

}  // namespace

Installation lookAt(const std::filesystem::path& plugin, const std::filesystem::path& appPath) {
  return Look(plugin, appPath).take();
}

}  // namespace zuhost
