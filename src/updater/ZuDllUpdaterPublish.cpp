#include "common/Text.h"
#include "common/VersionText.h"
#include "platform/Directories.h"
#include "platform/DirectoryListing.h"
#include "platform/Guid.h"
#include "platform/NamedMutex.h"
#include "updater/ZuDllUpdater.h"
#include "updater/ZuDllUpdaterLog.h"

namespace zuvia {

namespace {

constexpr DWORD kVersionLockMilliseconds = 30'000;
constexpr const wchar_t* kModuleFileName = L"\\zuimpl.dll";

bool exists(DWORD attributes) {
  return attributes != INVALID_FILE_ATTRIBUTES;
}

}  // namespace

#define TASK_LOG() UPDATER_LOG("downloadAsync::task")

// One update, from the download to the callback, on a thread of its own.
struct ZuDllUpdater::UpdateTask {
  ZuDllUpdater* updater;
  std::wstring package;
  UpdateEntry entry;

  std::wstring root = getCurrentDllDirectory();
  std::wstring version = Utf8ToWide(entry.ver);
  std::wstring temporary = root + L"\\.update-" + version + L"-" + freshGuidText();
  std::wstring target = root + L"\\" + version;

  void run() const {
    TASK_LOG() << "Try download plugin ver: " << entry.ver << ", url:  " << entry.url;
    if (!updater->download(package, entry.url)) {
      TASK_LOG() << "Download fail!";
      return;
    }
    TASK_LOG() << "Download success ver:  " << entry.ver;
    if (checkPackage()) {
      publishUnderLock();
    }
  }

  bool checkPackage() const {
    const std::string md5 = getFileMD5(package);
    if (isSameDigest(md5, entry.pmd5)) {
      return true;
    }
    const bool deleted = DeleteFileW(package.c_str()) != FALSE;
    TASK_LOG() << "Download exception! Expected md5: " << entry.pmd5 << ", but found: " << md5 << ", del: " << deleted;
    return false;
  }

  void publishUnderLock() const {
    deleteDirectory(temporary);
    MutexHold lock = acquireNamedMutex(L"Local\\ZuviaPluginUpdate-" + version, kVersionLockMilliseconds);
    if (!lock) {
      DeleteFileW(package.c_str());
      TASK_LOG() << "Unzip file err! VersionLock.";
      return;
    }
    const bool published = prepare() && publish();
    deleteDirectory(temporary);
    lock.release();
    DeleteFileW(package.c_str());
    report(published);
  }

  // Unpacks and checks everything that must hold before the target is touched.
  bool prepare() const {
    // Without its own directory this module has nothing to publish into.
    if (root.empty() || !unpack()) {
      return false;
    }
    if (!isOfferedModule(temporary + kModuleFileName)) {
      return false;
    }
    const DWORD attributes = GetFileAttributesW(target.c_str());
    if (exists(attributes) && !isPlainDirectory(attributes)) {
      TASK_LOG() << "Invalid update target path: " << target;
      return false;
    }
    return true;
  }

  bool unpack() const {
    if (!unZip(package, temporary)) {
      TASK_LOG() << "Unzip file return fail!";
      return false;
    }
    TASK_LOG() << "Unzip file success path: " << temporary;
    return true;
  }

  // Whether the file is, by its digest and its own version, the module that the entry offers.
  bool isOfferedModule(const std::wstring& file) const {
    DllCandidate offered;
    DllCandidate found;
    return isSameDigest(getFileMD5(file), entry.dmd5) && parseUpdateVersion(entry.ver, offered) &&
           getDllVersion(file, found) && isSameVersion(found, offered);
  }

  bool isPublished() const {
    const std::wstring file = target + kModuleFileName;
    const DWORD attributes = GetFileAttributesW(file.c_str());
    return exists(attributes) && (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == 0 &&
           isOfferedModule(file);
  }

  bool publish() const {
    const bool targetExists = exists(GetFileAttributesW(target.c_str()));
    const bool alreadyPublished = targetExists && isPublished();
    TASK_LOG() << "Try published download plugin : " << alreadyPublished;
    if (alreadyPublished) {
      return true;
    }
    if (targetExists && !deleteDirectory(target)) {
      return false;
    }
    // One rename on the same volume: the version is there whole, or not at all.
    const bool published = MoveFileExW(temporary.c_str(), target.c_str(), MOVEFILE_WRITE_THROUGH) != FALSE;
    TASK_LOG() << "MoveFileExW  published: " << published << ", dest: " << target;
    return published;
  }

  void report(bool published) const {
    if (!published) {
      TASK_LOG() << "Publish plugin fail, skip update callback, ver: " << entry.ver;
    } else if (updater->updateCallback_) {
      updater->updateCallback_(entry.ver);
    }
  }
};

std::future<void> ZuDllUpdater::downloadAsync(const std::wstring& path, const UpdateEntry& entry) {
  return std::async(std::launch::async, [this, path, entry] { UpdateTask{this, path, entry}.run(); });
}

}  // namespace zuvia
