#include <array>
#include <filesystem>
#include <fstream>

#include <json/writer.h>

#include "common/HostInfo.h"
#include "common/config/BssConfig.h"
#include "common/config/BssConfigLog.h"
#include "platform/Directories.h"
#include "platform/SystemClock.h"

namespace zuvia {

namespace {

constexpr int64_t kWriteIntervalSeconds = 30;

// The exchanges of the process, kept from the start of the module until the process is gone: a
// fetch may still run while the process ends.
struct Cache {
  std::mutex mutex;  // guards everything here, and the writing of the file
  CacheTable table;
  int64_t lastWriteTicks = 0;
};

Cache& cache = *new Cache;

std::wstring defaultCacheDirectory() {
  std::array<wchar_t, MAX_PATH + 1> directory = {};
  GetTempPathW(MAX_PATH, directory.data());
  return directory.data();
}

bool opensForReading(const std::wstring& path) {
  return static_cast<bool>(FileHandle(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                                  FILE_ATTRIBUTE_NORMAL, nullptr)));
}

bool createEmpty(const std::wstring& path) {
  return static_cast<bool>(
      FileHandle(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)));
}

}  // namespace

std::wstring BssConfig::makeCachePath() {
  std::wstring path = hostInfo().appPathW;
  if (path.empty()) {
    path = defaultCacheDirectory();
    CONFIG_LOG("BssConfig") << "Cache path is empty! Try use default cache dir: " << path;
  }
  if (!path.ends_with(L'\\')) {
    path += L'\\';
  }
  return path + L"zuviaplugin\\cache\\bbs.cache";
}

bool BssConfig::CheckCache(const std::wstring& path) {
  if (isFile(path) && opensForReading(path)) {
    return true;
  }
  const size_t backslash = path.rfind(L'\\');
  if (backslash == std::wstring::npos) {
    return false;
  }
  const std::wstring directory = path.substr(0, backslash);
  if (!directory.empty()) {
    const int result = createDirectories(directory);
    if (result != ERROR_SUCCESS && result != ERROR_ALREADY_EXISTS) {
      CONFIG_LOG("CheckCache") << "Create directory failed: " << directory;
      return false;
    }
  }
  if (!createEmpty(path)) {
    CONFIG_LOG("CheckCache") << "Create file failed: " << path;
    return false;
  }
  return true;
}

void BssConfig::StoreToCache(const CacheKey& key, const std::string& response) {
  const std::lock_guard lock(cache.mutex);
  const int64_t now = systemTicks();
  cache.table.insert_or_assign(key, CacheEntry{response, now});
  if ((now - cache.lastWriteTicks) / kTicksPerSecond < kWriteIntervalSeconds) {
    CONFIG_LOG("StoreToCache") << "Stored cache too fastest, just ignore! ";
    return;
  }
  const Json::Value document = cacheDocument(cache.table);
  cache.lastWriteTicks = now;
  std::ofstream file(std::filesystem::path(cachePath_), std::ios::trunc);
  if (!file.is_open()) {
    CONFIG_LOG("StoreToCache") << "Failed to write to persistent cache file: " << cachePath_;
    return;
  }
  file << document;
  CONFIG_LOG("StoreToCache") << "Stored cache to persistent file: " << cachePath_;
}

}  // namespace zuvia
