#include "common/config/CacheDocument.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/SystemClock.h"

namespace zuvia {

namespace {

uint64_t fnv1a(std::string_view text) {
  constexpr uint64_t kOffsetBasis = 0xcbf29ce484222325;
  constexpr uint64_t kPrime = 0x100000001b3;
  uint64_t hash = kOffsetBasis;
  for (const char byte : text) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * kPrime;
  }
  return hash;
}

Json::Value entryDocument(const CacheKey& key, const CacheEntry& entry) {
  Json::Value headers(Json::arrayValue);
  for (const std::string& header : key.headers) {
    headers.append(header);
  }
  Json::Value document(Json::objectValue);
  document["key_url"] = key.url;
  document["key_post_body"] = key.postBody;
  document["key_headers"] = std::move(headers);
  document["response_data"] = entry.responseData;
  document["timestamp_ms"] = static_cast<Json::Int64>(entry.storedTicks / kTicksPerMillisecond);
  return document;
}

}  // namespace

CacheKey::CacheKey(std::string requestUrl, std::string requestBody, std::vector<std::string> requestHeaders)
    : url(std::move(requestUrl)), postBody(std::move(requestBody)), headers(std::move(requestHeaders)) {
  std::sort(headers.begin(), headers.end());
}

size_t CacheKeyHash::operator()(const CacheKey& key) const {
  const uint64_t urlHash = fnv1a(key.url);
  const uint64_t bodyHash = fnv1a(key.postBody);
  if (key.headers.empty()) {
    return (bodyHash * 2) ^ urlHash;
  }
  uint64_t headersHash = 0;
  for (const std::string& header : key.headers) {
    headersHash ^= fnv1a(header);
  }
  return (((headersHash * 2) ^ bodyHash) * 2) ^ urlHash;
}

Json::Value cacheDocument(const CacheTable& table) {
  Json::Value entries(Json::arrayValue);
  for (const auto& [key, entry] : table) {
    entries.append(entryDocument(key, entry));
  }
  Json::Value document(Json::objectValue);
  document["entries"] = std::move(entries);
  return document;
}

}  // namespace zuvia
