#include <utility>

#include "common/CurlTransfer.h"
#include "common/HostInfo.h"
#include "common/Text.h"
#include "common/config/BssConfig.h"
#include "common/config/BssConfigLog.h"
#include "common/config/ConfigRequest.h"
#include "common/config/CurlGlobalGuard.h"
#include "common/config/Endpoints.h"
#include "common/config/OsVersion.h"

namespace zuvia {

namespace {

constexpr size_t kMaxResponseBytes = 1'048'576;  // 1 MiB
constexpr long kTransferTimeoutSeconds = 60;

size_t appendToResponse(char* data, size_t size, size_t count, void* response) {
  auto& text = *static_cast<std::string*>(response);
  const size_t chunk = size * count;
  if (chunk > kMaxResponseBytes || text.size() > kMaxResponseBytes - chunk) {
    return 0;
  }
  text.append(data, chunk);
  return chunk;
}

}  // namespace

// One request and what came of it; libcurl keeps pointers into it until its handle is closed.
struct BssConfig::Exchange {
  std::string url;
  std::string body;
  std::string uidHeader;
  std::string response;
  CurlErrorText errorText;
  bool ok = false;
};

void BssConfig::DoFetchJob() {
  Exchange result;
  {
    CurlGlobalGuard& guard = CurlGlobalGuard::instance();
    const MutexHold hold = guard.acquireCurlGlobal();
    if (!hold) {
      CONFIG_LOG("DoFetchJob") << "curl global mutex acquisition failed.";
      return;
    }
    if (guard.initialisation() != CURLE_OK) {
      CONFIG_LOG("DoFetchJob") << "curl global initialization failed.";
      return;
    }
    const CurlHandle curl(curl_easy_init());
    if (!curl) {
      return;
    }
    exchange(curl.get(), result);
  }
  OnResponse(result.ok, result.response);
}

void BssConfig::prepare(Exchange& exchange) const {
  exchange.url = configUrl(hostInfo().testEnv);
  exchange.uidHeader = uidHeader(uid_);
  ConfigRequest request;
  request.uid = uid_;
  request.bssCode = bssCode_;
  request.osVersion = WideToAnsi(osVersionString());
  request.version = clientVersion_.empty() ? hostInfo().hostVersion : clientVersion_;
  request.extendInfo = extendInfo_;
  exchange.body = requestBody(request);
}

// With the curl mutex held; the cache's own mutex comes after it.
void BssConfig::exchange(CURL* curl, Exchange& result) {
  prepare(result);
  curl_easy_setopt(curl, CURLOPT_URL, result.url.c_str());
  allowHttpsOnly(curl);
  verifyPeer(curl);
  curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, result.body.c_str());
  curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(result.body.size()));

  CurlHeaders headers;
  headers.append("Content-Type: application/json;charset=UTF-8");
  headers.append(result.uidHeader.c_str());
  headers.append("sid: 0");
  headers.append("ssid: 0");
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());

  result.errorText.attachTo(curl);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &appendToResponse);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &result.response);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, kTransferTimeoutSeconds);

  const CURLcode code = curl_easy_perform(curl);
  headers.free();
  result.ok = code == CURLE_OK;
  if (result.ok) {
    StoreToCache({result.url, result.body, {result.uidHeader}}, result.response);
  }
  CONFIG_LOG("DoFetchJob") << "DoFetchJob bssCode: " << bssCode_ << ", ret: " << result.ok
                           << ", curlCode: " << static_cast<int32_t>(code)
                           << ", curlError: " << result.errorText.describe(code) << ", url: " << result.url
                           << ", body: " << result.body;
}

}  // namespace zuvia
