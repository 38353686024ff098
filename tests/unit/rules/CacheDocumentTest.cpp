#include "common/config/CacheDocument.h"

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/writer.h>

namespace zuvia {
namespace {

using testing::ElementsAre;

std::string written(const Json::Value& document) {
  std::ostringstream text;
  text << document;
  return text.str();
}

TEST(CacheKey, SortsItsHeadersAscending) {
  EXPECT_THAT(CacheKey("u", "b", {"uid: 2", "sid: 0", "uid: 10"}).headers, ElementsAre("sid: 0", "uid: 10", "uid: 2"));
}

TEST(CacheKey, IsEqualWhateverTheOrderOfTheHeaders) {
  EXPECT_EQ(CacheKey("u", "b", {"one", "two"}), CacheKey("u", "b", {"two", "one"}));
}

TEST(CacheKey, DiffersInAnyOfItsThreeParts) {
  const CacheKey key("u", "b", {"h"});
  EXPECT_NE(key, CacheKey("U", "b", {"h"}));
  EXPECT_NE(key, CacheKey("u", "B", {"h"}));
  EXPECT_NE(key, CacheKey("u", "b", {"H"}));
  EXPECT_NE(key, CacheKey("u", "b", {}));
  EXPECT_NE(key, CacheKey("u", "b", {"h", "h"}));
}

struct Hashed {
  CacheKey key;
  uint64_t hash;
};

void PrintTo(const Hashed& hashed, std::ostream* stream) {
  *stream << "of " << hashed.key.url.size() << ", " << hashed.key.postBody.size() << " bytes and "
          << hashed.key.headers.size() << " headers: " << hashed.hash;
}

class CacheKeyHashValue : public testing::TestWithParam<Hashed> {};

TEST_P(CacheKeyHashValue, IsTheCombinedFnv1a) {
  EXPECT_EQ(CacheKeyHash()(GetParam().key), GetParam().hash);
}

const char* const kUrl = "https://config.zuvia.example/configs/pc/post";
const char* const kBody = R"({"bssCode":"zu_kx_anchor"})";

// The numbers were worked out apart from this code, from the definition of FNV-1a.
INSTANTIATE_TEST_SUITE_P(Keys, CacheKeyHashValue,
                         testing::Values(Hashed{{"", "", {}}, 0x5c17a52d8c66656f},
                                         Hashed{{"a", "", {}}, 0x3886e5858e45aac6},
                                         Hashed{{"", "a", {}}, 0x9535247d8821fa3d},
                                         Hashed{{"", "", {"a"}}, 0xe198d41f9461d75f},
                                         Hashed{{"u", "b", {""}}, 0xde6e25479a896f2e},
                                         Hashed{{"u", "b", {"one", "two"}}, 0xc5d5b2d41cdacd22},
                                         Hashed{{"\xc3\xa9", std::string("b\0c", 3), {"\xff"}}, 0x48cd54078aae3e51},
                                         Hashed{{kUrl, kBody, {}}, 0xb84a3fac1113579c},
                                         Hashed{{kUrl, kBody, {"uid: 123"}}, 0xa5f3409e45530b58}));

TEST(CacheDocument, HoldsNoEntriesAtFirst) {
  EXPECT_EQ(written(cacheDocument({})), "{\n\t\"entries\" : []\n}");
}

TEST(CacheDocument, HoldsEveryMemberOfAnEntry) {
  CacheTable table;
  table.insert_or_assign(CacheKey(kUrl, kBody, {"uid: 123"}), CacheEntry{"{\"a\":1}\n", 16'000'000'000'009'999});
  EXPECT_EQ(written(cacheDocument(table)),
            "{\n"
            "\t\"entries\" : \n"
            "\t[\n"
            "\t\t{\n"
            "\t\t\t\"key_headers\" : \n"
            "\t\t\t[\n"
            "\t\t\t\t\"uid: 123\"\n"
            "\t\t\t],\n"
            "\t\t\t\"key_post_body\" : \"{\\\"bssCode\\\":\\\"zu_kx_anchor\\\"}\",\n"
            "\t\t\t\"key_url\" : \"https://config.zuvia.example/configs/pc/post\",\n"
            "\t\t\t\"response_data\" : \"{\\\"a\\\":1}\\n\",\n"
            "\t\t\t\"timestamp_ms\" : 1600000000000\n"
            "\t\t}\n"
            "\t]\n"
            "}");
}

TEST(CacheDocument, TruncatesTheTimeTowardsZero) {
  CacheTable table;
  table.insert_or_assign(CacheKey("u", "b", {}), CacheEntry{"", -19'999});
  EXPECT_EQ(cacheDocument(table)["entries"][0]["timestamp_ms"].asInt64(), -1);
}

TEST(CacheDocument, KeepsTheTimeAs64Bits) {
  CacheTable table;
  table.insert_or_assign(CacheKey("u", "b", {}), CacheEntry{"", INT64_MAX});
  EXPECT_EQ(cacheDocument(table)["entries"][0]["timestamp_ms"].asInt64(), INT64_MAX / 10'000);
}

TEST(CacheDocument, WritesNoHeadersAsAnEmptyArray) {
  CacheTable table;
  table.insert_or_assign(CacheKey("u", "b", {}), CacheEntry{});
  EXPECT_EQ(cacheDocument(table)["entries"][0]["key_headers"], Json::Value(Json::arrayValue));
}

TEST(CacheDocument, ListsTheEntriesInTheOrderOfTheTable) {
  CacheTable table;
  for (const char* url : {"a", "b", "c", "d", "e"}) {
    table.insert_or_assign(CacheKey(url, "", {}), CacheEntry{url, 0});
  }
  std::vector<std::string> expected;
  for (const auto& [key, entry] : table) {
    expected.push_back(key.url);
  }
  std::vector<std::string> listed;
  const Json::Value document = cacheDocument(table);
  for (const Json::Value& entry : document["entries"]) {
    listed.push_back(entry["key_url"].asString());
    EXPECT_EQ(entry["response_data"], entry["key_url"]);
  }
  EXPECT_EQ(listed, expected);
  EXPECT_EQ(listed.size(), 5U);
}

TEST(CacheDocument, KeepsBytesOfAnAnswerThatAreNoText) {
  CacheTable table;
  table.insert_or_assign(CacheKey("u", "b", {}), CacheEntry{std::string("a\0b", 3), 0});
  EXPECT_THAT(written(cacheDocument(table)), testing::HasSubstr(R"("response_data" : "a\u0000b")"));
}

}  // namespace
}  // namespace zuvia
