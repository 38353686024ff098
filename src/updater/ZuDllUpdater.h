#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>

#include "common/DllCandidate.h"
#include "common/UpdateEntry.h"

namespace zuvia {

class ZuUpdateConfig;

// Keeps the implementation module up to date: asks for the update entry, decides, downloads,
// checks, unpacks and publishes. What it publishes lies beside this module and is used from the
// next load on.
//
// Every failure ends in one log line and in false, an empty text or nothing; the running version
// stays in use.
//
// The class spans several files: ZuDllUpdater.cpp has its life and the decision, …HitSequence.cpp
// the hit sequence id, …Download.cpp the transfer, …Files.cpp digest, whole read, version and
// removal, …Package.cpp the unpacking, …Publish.cpp the update task.
class ZuDllUpdater {
 public:
  using UpdateCallback = std::function<void(const std::string& newVersion)>;

  // uid: the host's user id, sent with the configuration request. Makes the configuration client,
  // which makes its cache file. Throws what that throws.
  explicit ZuDllUpdater(uint64_t uid);
  ZuDllUpdater(const ZuDllUpdater&) = delete;
  ZuDllUpdater& operator=(const ZuDllUpdater&) = delete;
  // Stops the configuration client, waiting for a fetch that runs or is due, then waits for the
  // update task.
  ~ZuDllUpdater();

  // What the updater must know before start. Texts as the host sent them.
  void setCurrentVersion(const std::string& shortVersion) { currentVersion_ = shortVersion; }
  void setCurrentImplementation(const DllCandidate& implementation) { currentImplementation_ = implementation; }
  void setHostVersion(const std::string& hostVersion) { hostVersion_ = hostVersion; }
  void setAppPath(const std::wstring& appPath) { appPath_ = appPath; }

  // Requests the update entry; called once. The fetch runs on a thread of the system's pool, an
  // update that it leads to on one more.
  // callback: called after a successful publication with the version text of the entry, on the
  // update task's thread; may be empty.
  void start(const UpdateCallback& callback);

  // Returns the id of this installation, from the file below the application path, where a new one
  // is written when there is none. "" without an application path (logged).
  std::string getHitSeqId();

  // Decides about an entry and starts the update task when its version is newer and not installed
  // intact. Waits for a task that is still running. On the configuration client's thread.
  // Throws std::system_error when the task mutex cannot be locked or no thread can be started.
  void onFetch(const UpdateEntry& entry);

  // Returns whether the entry's version must be downloaded: false only when its version directory
  // holds a zuimpl.dll with this digest (any letter case). One with another digest is deleted.
  static bool checkUpdate(const UpdateEntry& entry, const std::string& dmd5);

  // Starts the update task: downloads the entry's package to `path`, checks it, publishes it and
  // calls the callback. Everything is copied; the returned future's destructor waits for the task.
  std::future<void> downloadAsync(const std::wstring& path, const UpdateEntry& entry);

  // Downloads a package over HTTPS, with redirects to HTTPS only.
  // path: where it is written; replaced if it exists. url: narrow.
  // Returns whether the whole body was received and written; otherwise it is logged and, once the
  // transfer has begun, the file is deleted. Waits at most 60 s for the lock that all transfers of
  // the session share and 300 s for the transfer. Refused, and logged, while another one runs.
  bool download(const std::wstring& path, const std::string& url);

  // ---- Tools without state. Any thread.

  // Returns the MD5 of a file as 32 lower-case hexadecimal digits, "" on failure (logged). A read
  // error counts as the end of the file.
  static std::string getFileMD5(const std::wstring& path);

  // Reads a file of 1 to 104857600 bytes. On failure (logged) returns false with `out` empty.
  static bool readAllBytes(const std::wstring& path, std::string& out);

  // Unpacks a 7z package with a zuimpl.dll at its root into outDir, which is made if missing.
  // Nothing is written before all entries have been checked. On failure (logged) returns false;
  // what was written until then stays.
  static bool unZip(const std::wstring& zipPath, const std::wstring& outDir);

  // Removes a directory with everything in it; never follows a link. Returns whether it is gone or
  // never was; faults are logged one by one.
  static bool deleteDirectory(const std::wstring& dir);

  // Reads the file version. On failure (logged) returns false and leaves `out` alone.
  static bool getDllVersion(const std::wstring& path, DllCandidate& out);

  // Compares two digests in any letter case. An empty first one never matches.
  static bool isSameDigest(const std::string& computed, const std::string& expected);

  // Returns the directory of this module, "" when it cannot be found. Logs nothing.
  static std::wstring getCurrentDllDirectory();

 private:
  struct UpdateTask;

  std::wstring cacheDirectory() const;
  std::wstring prepareDownloadPath() const;
  void waitForTask();

  std::string currentVersion_;  // kept for reference
  std::string hostVersion_;
  std::wstring appPath_;
  std::atomic<bool> downloading_ = false;
  std::mutex taskMutex_;  // guards downloadTask_
  std::future<void> downloadTask_;
  DllCandidate currentImplementation_;
  std::unique_ptr<ZuUpdateConfig> config_;
  UpdateCallback updateCallback_;
};

}  // namespace zuvia
