#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>

#include "common/CurlTransfer.h"
#include "common/Limits.h"
#include "platform/NamedMutex.h"
#include "updater/ZuDllUpdater.h"
#include "updater/ZuDllUpdaterLog.h"

namespace zuvia {

namespace {

constexpr long kConnectTimeoutSeconds = 30;
constexpr long kTransferTimeoutSeconds = 300;
constexpr long kStallBytesPerSecond = 1;
constexpr long kStallSeconds = 6;

// Holds the flag that one download at a time may set.
class DownloadGuard {
 public:
  explicit DownloadGuard(std::atomic<bool>& downloading) : downloading_(downloading) {
    bool idle = false;
    owned_ = downloading_.compare_exchange_strong(idle, true);
  }
  DownloadGuard(const DownloadGuard&) = delete;
  DownloadGuard& operator=(const DownloadGuard&) = delete;
  ~DownloadGuard() {
    if (owned_) {
      downloading_.exchange(false);
    }
  }
  explicit operator bool() const { return owned_; }

 private:
  std::atomic<bool>& downloading_;
  bool owned_ = false;
};

// libcurl's initialisation, once for the process; what failed once fails every later download.
CURLcode initialiseCurlOnce() {
  static std::once_flag once;
  static CURLcode kept = CURLE_OK;
  std::call_once(once, [] { kept = curl_global_init(CURL_GLOBAL_DEFAULT); });
  return kept;
}

size_t writeToSink(char* data, size_t size, size_t count, void* sink) {
  auto& stream = *static_cast<std::ofstream*>(sink);
  stream.write(data, static_cast<std::streamsize>(size * count));
  return stream.good() ? size * count : 0;
}

void setOptions(CURL* curl, const std::string& url, std::ofstream& sink, CurlErrorText& errorText) {
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &writeToSink);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &sink);
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  allowHttpsOnly(curl);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, kConnectTimeoutSeconds);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, kTransferTimeoutSeconds);
  verifyPeer(curl);
  curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(kMaxPackageBytes));
  curl_easy_setopt(curl, CURLOPT_USERAGENT, "ZuDllUpdater/1.0");
  errorText.attachTo(curl);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, kStallBytesPerSecond);
  curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, kStallSeconds);
}

// How a transfer ended.
struct Outcome {
  CURLcode code = CURLE_OK;
  long status = 0;
  curl_off_t received = 0;
  bool written = false;
};

Outcome perform(CURL* curl, std::ofstream& sink) {
  Outcome outcome;
  outcome.code = curl_easy_perform(curl);
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &outcome.status);
  curl_easy_getinfo(curl, CURLINFO_SIZE_DOWNLOAD_T, &outcome.received);
  sink.close();
  outcome.written = sink.good();
  return outcome;
}

void logSinkNotOpened(const std::wstring& path, int error) {
  std::array<char, 128> text = {};
  strerror_s(text.data(), text.size(), error);
  UPDATER_LOG("download") << "Download fail! Open save file failed, path: " << path << ", errno: " << error
                          << ", msg: " << text.data();
}

}  // namespace

bool ZuDllUpdater::download(const std::wstring& path, const std::string& url) {
  const DownloadGuard guard(downloading_);
  if (!guard) {
    UPDATER_LOG("download") << "Another download task is running.";
    return false;
  }
  if (const CURLcode code = initialiseCurlOnce(); code != CURLE_OK) {
    UPDATER_LOG("download") << "Download fail! curl_global_init error: " << static_cast<int32_t>(code)
                            << ", msg: " << curl_easy_strerror(code);
    return false;
  }
  MutexHold lock = acquireNamedMutex(kCurlGlobalMutexName, kCurlGlobalWaitMilliseconds);
  if (!lock) {
    const DWORD error = GetLastError();
    UPDATER_LOG("download") << "Download fail! Acquire curl mutex timeout or error: " << error;
    return false;
  }
  CurlHandle curl(curl_easy_init());
  if (!curl) {
    UPDATER_LOG("download") << "Download fail! curl_easy_init returned null.";
    return false;
  }
  std::ofstream sink(std::filesystem::path(path), std::ios::binary | std::ios::trunc);
  if (!sink.is_open()) {
    logSinkNotOpened(path, errno);
    return false;
  }
  CurlErrorText errorText;
  setOptions(curl.get(), url, sink, errorText);
  const Outcome outcome = perform(curl.get(), sink);
  curl.reset();
  lock.release();

  if (outcome.code == CURLE_OK && outcome.written) {
    return true;
  }
  UPDATER_LOG("download") << "Download fail! path: " << path << ", curl code: " << static_cast<int32_t>(outcome.code)
                          << ", msg: " << errorText.describe(outcome.code) << ", http code: " << outcome.status
                          << ", received bytes: " << static_cast<int64_t>(outcome.received)
                          << ", write succeeded: " << outcome.written << ", url: " << url;
  DeleteFileW(path.c_str());
  return false;
}

}  // namespace zuvia
