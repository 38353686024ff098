#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <zuvia/Exports.h>

#include "common/DllCandidate.h"
#include "platform/Handles.h"

namespace zuvia {

// Finds the implementation modules below the directory of this module, loads the newest usable one
// and removes the versions that nobody uses.
//
// No lock: the caller keeps the calls apart. Failures end in one log line and in false, an empty
// text or nothing; they are not exceptions.
//
// The class spans several files: ZuDllLoader.cpp has its state and texts, …Discovery.cpp finding
// and reading versions, …Loading.cpp the loading, …Removal.cpp the clean-up.
class ZuDllLoader {
 public:
  ZuDllLoader() = default;
  ZuDllLoader(const ZuDllLoader&) = delete;
  ZuDllLoader& operator=(const ZuDllLoader&) = delete;
  // Frees the module. The object that it made must not be used any more.
  ~ZuDllLoader() { unload(); }

  // ---- State

  // Whether a module is loaded and has made its object.
  bool isLoaded() const { return loaded_; }
  // The candidate that was loaded last; empty before the first.
  const DllCandidate& current() const { return current_; }
  // All candidates of the last load that had a readable version, newest first.
  const std::vector<DllCandidate>& candidates() const { return candidates_; }

  // The version of the loaded module, four numbers and three; "" while none is loaded. The first is
  // kept from the first time it is asked for and does not follow a later load; the reference is good
  // for as long as this object.
  const std::string& versionString() {
    if (!module_) {
      return noVersion_;
    }
    if (versionText_.empty()) {
      versionText_ = candidateVersionString(current_);
    }
    return versionText_;
  }
  std::string shortVersionString() const;

  // ---- Discovery

  // The directory of this module; "" on failure (logged).
  static std::wstring getCurrentDllDirectory();

  // Appends the path of every zuimpl.dll (any letter case) below `dir`, in scan order. Links are not
  // followed. A directory that cannot be listed is logged and left out.
  // dir: without a trailing backslash.
  static void scanDirectory(const std::wstring& dir, std::vector<std::wstring>& paths);

  // Reads the file version of a module. On failure (logged) returns false and leaves the candidate
  // alone.
  static bool getDllVersion(const std::wstring& path, DllCandidate& candidate);

  // Puts candidates in the order in which they are tried: newest first, those of one version in scan order.
  static void sortNewestFirst(std::vector<DllCandidate>& candidates);

  // Whether `dir` is a direct child of `root` with the name of a version directory. Both with or
  // without trailing separators; compared in any letter case.
  static bool isVersionDirectory(std::wstring_view root, std::wstring_view dir);

  // ---- Loading

  // Loads the newest module that loads, exports createImpl and makes its object; an older one when
  // a newer one fails. Every failure is logged.
  // implOut: receives the object, owned by its module; null on failure.
  // Returns whether a module was loaded. On success the module of an earlier load is freed; on
  // failure it stays loaded, and current.
  // What createImpl throws counts as a failure of that candidate.
  bool loadZuDll(IPluginEntryPoint*& implOut);

  // Frees the module, if one is loaded. Current candidate, candidate list and kept version text stay.
  void unload();

  // ---- Removal

  // Removes the version directories of candidates that are neither loaded nor of the version
  // `keepVersion` (four numbers; "" keeps nothing more) nor open in any process. Waits at most 30 s
  // for a clean-up in another process and does nothing, silently, when that takes longer.
  void deleteUnused(const std::string& keepVersion) const;

  // Removes a directory with everything in it; links inside are left alone. dir: with or without a
  // trailing backslash. Returns whether all of it is gone; every fault is logged.
  static bool deleteDirectory(const std::wstring& dir);

 private:
  void readCandidates(const std::vector<std::wstring>& paths);
  bool loadNewest(const std::wstring& root, IPluginEntryPoint*& implOut);
  void adopt(ModuleHandle module, DllCandidate candidate);
  static void deleteIfUnused(const DllCandidate& candidate, const std::wstring& root);

  bool loaded_ = false;
  ModuleHandle module_;
  std::string versionText_;
  const std::string noVersion_;
  std::vector<DllCandidate> candidates_;
  DllCandidate current_;
};

}  // namespace zuvia
