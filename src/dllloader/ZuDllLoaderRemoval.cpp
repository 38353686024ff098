#include "dllloader/ZuDllLoader.h"
#include "dllloader/ZuDllLoaderLog.h"
#include "platform/DirectoryRemoval.h"
#include "platform/NamedMutex.h"

namespace zuvia {

namespace {

constexpr const wchar_t* kCleanupMutexName = L"Local\\ZuviaPluginCleanup";
constexpr DWORD kCleanupWaitMilliseconds = 30'000;

// A module that any process has loaded cannot be opened without sharing.
bool opensExclusively(const std::wstring& path) {
  return static_cast<bool>(
      FileHandle(CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)));
}

void logRemovalFault(const RemovalFault& fault) {
  using Kind = RemovalFault::Kind;
  switch (fault.kind) {
    case Kind::ListFailed:
      LOADER_LOG("deleteDirectory") << "Delete directory fail! FindFirstFile error: " << fault.error
                                    << ", path: " << fault.path;
      break;
    case Kind::ReparsePoint:
      LOADER_LOG("deleteDirectory") << "Delete directory: skip reparse point child: " << fault.path;
      break;
    case Kind::FileNotDeleted:
      LOADER_LOG("deleteDirectory") << "Delete file fail! error: " << fault.error << ", path: " << fault.path;
      break;
    case Kind::NotRemoved:
      LOADER_LOG("deleteDirectory") << "Remove directory fail! error: " << fault.error << ", path: " << fault.path;
      break;
    case Kind::NotPlainDirectory:
      break;  // not looked for here
  }
}

}  // namespace

void ZuDllLoader::deleteUnused(const std::string& keepVersion) const {
  if (candidates_.empty() || !loaded_) {
    LOADER_LOG("deleteUnused") << "deleteUnused invoke fail! Loaded: " << loaded_;
    return;
  }
  const std::wstring root = getCurrentDllDirectory();
  if (root.empty()) {
    LOADER_LOG("deleteUnused") << "deleteUnused invoke fail! Root directory is empty.";
    return;
  }
  const MutexHold hold = acquireNamedMutex(kCleanupMutexName, kCleanupWaitMilliseconds);
  if (!hold) {
    return;
  }
  const std::string loadedVersion = candidateVersionString(current_);
  for (const DllCandidate& candidate : candidates_) {
    const std::string version = candidateVersionString(candidate);
    if (version != keepVersion && version != loadedVersion) {
      deleteIfUnused(candidate, root);
    }
  }
}

void ZuDllLoader::deleteIfUnused(const DllCandidate& candidate, const std::wstring& root) {
  // A module whose name is spelled otherwise is loaded, but deliberately never removed.
  const size_t backslash = candidate.path.rfind(L'\\');
  if (candidate.path.find(L"zuimpl.dll") == std::wstring::npos || backslash == std::wstring::npos) {
    return;
  }
  const std::wstring directory = candidate.path.substr(0, backslash);
  if (!isVersionDirectory(root, directory)) {
    LOADER_LOG("deleteUnused") << "Skip non version directory: " << directory;
    return;
  }
  if (!opensExclusively(candidate.path)) {
    LOADER_LOG("deleteUnused") << "Skip in-use or inaccessible version: " << candidate.path;
    return;
  }
  LOADER_LOG("deleteUnused") << "Try delete unused plugin: " << directory;
  deleteDirectory(directory);
}

bool ZuDllLoader::deleteDirectory(const std::wstring& dir) {
  return removeDirectoryTree(dir, RemovalCheck::None, &logRemovalFault);
}

}  // namespace zuvia
