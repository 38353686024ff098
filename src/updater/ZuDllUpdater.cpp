#include "updater/ZuDllUpdater.h"

#include <chrono>
#include <string_view>

#include "common/PluginVersion.h"
#include "common/Text.h"
#include "common/VersionText.h"
#include "config/ZuUpdateConfig.h"
#include "platform/Directories.h"
#include "platform/Guid.h"
#include "updater/ZuDllUpdaterLog.h"

namespace zuvia {

ZuDllUpdater::ZuDllUpdater(uint64_t uid) : config_(std::make_unique<ZuUpdateConfig>(uid)) {}

ZuDllUpdater::~ZuDllUpdater() {
  config_.reset();
  waitForTask();
}

void ZuDllUpdater::start(const UpdateCallback& callback) {
  updateCallback_ = callback;
  config_->setClientVersion(kPluginShortVersion);
  config_->SetExtendInfo("hostver", hostVersion_);
  config_->SetExtendInfo("hitseq", getHitSeqId());
  config_->setUpdater(this);
  config_->RequestFetch();
}

void ZuDllUpdater::onFetch(const UpdateEntry& entry) {
  if (entry.ver.empty() || entry.pmd5.empty() || entry.dmd5.empty() || entry.url.empty()) {
    return;
  }
  if (!entry.url.starts_with("https://")) {
    UPDATER_LOG("onFetch") << "Update plugin fail! HTTPS is required: " << entry.url;
    return;
  }
  DllCandidate offered;
  if (!parseUpdateVersion(entry.ver, offered)) {
    UPDATER_LOG("onFetch") << "Update plugin fail! Invalid version: " << entry.ver;
    return;
  }
  if (!isOlder(currentImplementation_, offered)) {
    UPDATER_LOG("onFetch") << "No needed to upgrade for version: " << entry.ver << ", local ver is newest!";
    return;
  }
  if (!checkUpdate(entry, entry.dmd5)) {
    UPDATER_LOG("onFetch") << "No needed to upgrade for for version: " << entry.ver;
    return;
  }
  if (appPath_.empty()) {
    UPDATER_LOG("onFetch") << "Update plugin fail! Download path not specified.";
    return;
  }
  const std::wstring path = prepareDownloadPath();
  waitForTask();
  const std::lock_guard lock(taskMutex_);
  downloadTask_ = downloadAsync(path, entry);
}

bool ZuDllUpdater::checkUpdate(const UpdateEntry& entry, const std::string& dmd5) {
  const std::wstring root = getCurrentDllDirectory();
  const std::wstring directory = root + L"\\" + Utf8ToWide(entry.ver);
  if (root.empty() || !isDirectory(directory)) {
    UPDATER_LOG("checkUpdate") << "Directory not exist: " << directory;
    return true;
  }
  const std::wstring file = directory + L"\\zuimpl.dll";
  if (!isFile(file)) {
    UPDATER_LOG("checkUpdate") << "File not exist: " << file;
    return true;
  }
  const std::string md5 = getFileMD5(file);
  if (isSameDigest(md5, dmd5)) {
    return false;
  }
  const bool deleted = deleteDirectory(directory);
  UPDATER_LOG("checkUpdate") << "File md5 not match md5 " << md5 << ", expected md5: " << dmd5
                             << ", delete directory: " << deleted;
  return true;
}

std::wstring ZuDllUpdater::cacheDirectory() const {
  return appPath_ + L"\\zuviaplugin\\cache";
}

// Makes the download directory where it is missing and returns a path in it that nothing has yet.
std::wstring ZuDllUpdater::prepareDownloadPath() const {
  const std::wstring fileName = freshGuidText() + L".zip";
  const std::wstring directory = cacheDirectory() + L"\\update\\";
  if (!isDirectory(directory)) {
    const int result = createDirectories(directory);
    UPDATER_LOG("onFetch") << "Directory not exist: " << directory << ", create: " << result;
  }
  return directory + fileName;
}

// Waits outside the lock, so that a task may be looked at, or replaced, in the meantime.
void ZuDllUpdater::waitForTask() {
  std::future<void> previous;
  {
    const std::lock_guard lock(taskMutex_);
    previous = std::move(downloadTask_);
  }
  if (previous.valid() && previous.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
    previous.wait();
  }
}

}  // namespace zuvia
