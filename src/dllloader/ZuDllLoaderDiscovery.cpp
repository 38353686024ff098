#include <algorithm>
#include <cwchar>

#include "common/VersionText.h"
#include "dllloader/ZuDllLoader.h"
#include "dllloader/ZuDllLoaderLog.h"
#include "platform/DirectoryListing.h"
#include "platform/FileVersion.h"
#include "platform/ModuleDirectory.h"

namespace zuvia {

namespace {

std::wstring_view trimTrailingSeparators(std::wstring_view path) {
  // npos + 1 is 0: of nothing but separators nothing is left.
  return path.substr(0, path.find_last_not_of(L"\\/") + 1);
}

bool isSamePath(std::wstring_view left, std::wstring_view right) {
  return _wcsicmp(std::wstring(left).c_str(), std::wstring(right).c_str()) == 0;
}

}  // namespace

std::wstring ZuDllLoader::getCurrentDllDirectory() {
  using Step = ModuleDirectoryReport::Step;
  ModuleDirectoryReport report = findModuleDirectory();
  if (report.step == Step::Handle) {
    LOADER_LOG("getCurrentDllDirectory") << "Get current dll directory fail! GetModuleHandleEx error: " << report.error;
  } else if (report.step == Step::FileName) {
    LOADER_LOG("getCurrentDllDirectory") << "Get current dll directory fail! GetModuleFileName error: " << report.error;
  }
  return report.directory;
}

void ZuDllLoader::scanDirectory(const std::wstring& dir, std::vector<std::wstring>& paths) {
  DirectoryListing listing(dir + L"\\*");
  if (!listing) {
    const DWORD error = GetLastError();
    LOADER_LOG("scanDirectory") << "Scan directory fail! FindFirstFile error: " << error << ", path: " << dir;
    return;
  }
  while (listing.next()) {
    std::wstring path = dir + L"\\" + listing.name();
    if (isPlainDirectory(listing.attributes())) {
      scanDirectory(path, paths);
    } else if (_wcsicmp(listing.name(), L"zuimpl.dll") == 0) {
      paths.push_back(std::move(path));
    }
  }
}

bool ZuDllLoader::getDllVersion(const std::wstring& path, DllCandidate& candidate) {
  using Step = FileVersionReport::Step;
  const FileVersionReport report = readFileVersion(path);
  switch (report.step) {
    case Step::Size:
      LOADER_LOG("getDllVersion") << "Get dll version fail! No version resource, error: " << report.error
                                  << ", path: " << path;
      return false;
    case Step::Info:
      LOADER_LOG("getDllVersion") << "Get dll version fail! GetFileVersionInfo error: " << report.error
                                  << ", size: " << report.size << ", path: " << path;
      return false;
    case Step::Query:
      LOADER_LOG("getDllVersion") << "Get dll version fail! VerQueryValue error: " << report.error
                                  << ", path: " << path;
      return false;
    case Step::QueryEmpty:
      LOADER_LOG("getDllVersion") << "Get dll version fail! VerQueryValue invalid, len: " << report.length
                                  << ", fixedInfo: " << (report.hasFixedInfo ? "valid" : "null") << ", path: " << path;
      return false;
    case Step::Done:
      break;
  }
  candidate = {path, report.major, report.minor, report.build, report.revision};
  return true;
}

void ZuDllLoader::sortNewestFirst(std::vector<DllCandidate>& candidates) {
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const DllCandidate& left, const DllCandidate& right) { return isOlder(right, left); });
}

bool ZuDllLoader::isVersionDirectory(std::wstring_view root, std::wstring_view dir) {
  root = trimTrailingSeparators(root);
  dir = trimTrailingSeparators(dir);
  if (root.empty() || dir.empty() || isSamePath(root, dir)) {
    return false;
  }
  const size_t backslash = dir.rfind(L'\\');
  return backslash != std::wstring_view::npos && isSamePath(dir.substr(0, backslash), root) &&
         isVersionName(dir.substr(backslash + 1));
}

}  // namespace zuvia
