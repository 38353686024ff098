#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include <json/value.h>

namespace zuvia {

// What one configuration exchange is known by.
struct CacheKey {
  // requestHeaders: in any order.
  CacheKey(std::string requestUrl, std::string requestBody, std::vector<std::string> requestHeaders);

  std::string url;
  std::string postBody;              // the exact request body
  std::vector<std::string> headers;  // ascending

  bool operator==(const CacheKey&) const = default;
};

struct CacheEntry {
  std::string responseData;  // the raw answer
  int64_t storedTicks = 0;   // 100-ns units since 1970-01-01 UTC
};

// 64-bit FNV-1a of the parts, combined.
struct CacheKeyHash {
  size_t operator()(const CacheKey& key) const;
};

using CacheTable = std::unordered_map<CacheKey, CacheEntry, CacheKeyHash>;

// The document that the cache file holds, with one entry per exchange in the table's own order.
Json::Value cacheDocument(const CacheTable& table);

}  // namespace zuvia
