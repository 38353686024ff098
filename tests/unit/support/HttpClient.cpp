#include "HttpClient.h"

#include <curl/curl.h>

#include <memory>

namespace zuvia::test {
namespace {

std::size_t append(const char* data, std::size_t size, std::size_t count, void* body) {
  static_cast<std::string*>(body)->append(data, size * count);
  return size * count;
}

}  // namespace

TransferResult transfer(const Transfer& wanted) {
  static const CURLcode initialised = curl_global_init(CURL_GLOBAL_DEFAULT);
  TransferResult result{initialised, 0, {}};
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), &curl_easy_cleanup);
  std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(nullptr, &curl_slist_free_all);
  for (const std::string& header : wanted.headers) {
    headers.reset(curl_slist_append(headers.release(), header.c_str()));
  }
  curl_easy_setopt(curl.get(), CURLOPT_URL, wanted.url.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, &append);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &result.body);
  curl_easy_setopt(curl.get(), CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_NATIVE_CA));
  curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, wanted.timeout);
  curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(curl.get(), CURLOPT_FOLLOWLOCATION, wanted.follow ? 1L : 0L);
  curl_easy_setopt(curl.get(), CURLOPT_LOW_SPEED_LIMIT, wanted.stallTime > 0 ? 1L : 0L);
  curl_easy_setopt(curl.get(), CURLOPT_LOW_SPEED_TIME, wanted.stallTime);
  if (!wanted.postBody.empty()) curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, wanted.postBody.c_str());
  result.code = curl_easy_perform(curl.get());
  curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &result.status);
  return result;
}

}  // namespace zuvia::test
