#include "common/config/CacheDocument.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <json/reader.h>
#include <json/writer.h>

#include "Targets.h"
#include "Text.h"

namespace zuvia::fuzz {

namespace {

using Texts = std::vector<std::string>;
using Expected = std::map<std::tuple<std::string, std::string, Texts>, CacheEntry>;

// One exchange of the input.
struct Exchange {
  std::string url;
  std::string body;
  Texts headers;
  CacheEntry entry;

  explicit Exchange(std::string_view record) {
    auto parts = split(record, '\x1F');
    parts.resize(std::max<size_t>(parts.size(), 4));
    url = parts[0];
    body = parts[1];
    entry.responseData = parts[2];
    std::from_chars(parts[3].data(), parts[3].data() + parts[3].size(), entry.storedTicks);
    headers.assign(parts.begin() + 4, parts.end());
  }
};

bool same(const CacheEntry& left, const CacheEntry& right) {
  return left.responseData == right.responseData && left.storedTicks == right.storedTicks;
}

void checkKey(const Exchange& exchange) {
  const CacheKey key(exchange.url, exchange.body, exchange.headers);
  const CacheKey turned(exchange.url, exchange.body, Texts(exchange.headers.rbegin(), exchange.headers.rend()));
  require(key == turned, "the order of the headers does not count");
  require(CacheKeyHash()(key) == CacheKeyHash()(turned), "equal keys have one hash");
}

void checkTable(const CacheTable& table, const Expected& expected) {
  require(table.size() == expected.size(), "one entry for each different exchange");
  for (const auto& [key, entry] : table) {
    const auto found = expected.find({key.url, key.postBody, key.headers});
    require(found != expected.end() && same(found->second, entry), "the entry is the last of its exchange");
  }
}

// The text that the file would get, read again.
Json::Value reread(const Json::Value& document) {
  std::stringstream file;
  file << document;
  Json::Value again;
  std::string errors;
  require(Json::parseFromStream(Json::CharReaderBuilder(), file, &again, &errors), "the document is JSON");
  require(isUtf8(file.str()), "the document is UTF-8");
  return again;
}

// What is no UTF-8 cannot be in a JSON text: the writer puts something in its place.
void checkText(const Json::Value& written, const std::string& text, const char* what) {
  require(written.isString() && (written.asString() == text || !isUtf8(text)), what);
}

void checkEntry(const Json::Value& written, const CacheKey& key, const CacheEntry& entry) {
  require(written.size() == 5, "five members");
  checkText(written["key_url"], key.url, "the URL");
  checkText(written["key_post_body"], key.postBody, "the body");
  checkText(written["response_data"], entry.responseData, "the answer");
  const Json::Value& headers = written["key_headers"];
  require(headers.isArray() && headers.size() == key.headers.size(), "every header");
  for (Json::ArrayIndex i = 0; i < headers.size(); ++i) checkText(headers[i], key.headers[i], "a header");
  require(written["timestamp_ms"] == Json::Int64{entry.storedTicks / 10'000}, "milliseconds, truncated towards zero");
}

}  // namespace

void cacheDocument(std::string_view input) {
  CacheTable table;
  Expected expected;
  for (const std::string_view record : split(input, '\x1E')) {
    const Exchange exchange(record);
    checkKey(exchange);
    CacheKey key(exchange.url, exchange.body, exchange.headers);
    expected.insert_or_assign({key.url, key.postBody, key.headers}, exchange.entry);
    table.insert_or_assign(std::move(key), exchange.entry);
  }
  checkTable(table, expected);
  const Json::Value document = reread(cacheDocument(table));
  const Json::Value& entries = document["entries"];
  require(entries.size() == table.size(), "one entry for each of the table");
  Json::ArrayIndex at = 0;
  for (const auto& [key, entry] : table) checkEntry(entries[at++], key, entry);
}

}  // namespace zuvia::fuzz
