#include "common/config/ConfigRequest.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

namespace zuvia {
namespace {

const std::string kBeforeExtendInfo =
    R"({"bssCode":"zu_kx_anchor","bssMode":"all","bssVersion":"0","client":"pc","extendInfo":)";
const std::string kAfterExtendInfo = R"(,"osVersion":"Some system","version":"2.0.0"})";

ConfigRequest request() {
  ConfigRequest request;
  request.uid = 1234567890123;
  request.bssCode = "zu_kx_anchor";
  request.osVersion = "Some system";
  request.version = "2.0.0";
  return request;
}

TEST(ConfigRequestBody, IsOneCompactObjectWithoutALineEnd) {
  EXPECT_EQ(requestBody(request()), kBeforeExtendInfo + R"({"zuuid":"1234567890123"})" + kAfterExtendInfo);
}

TEST(ConfigRequestBody, CarriesEveryPairOfTheExtendInfo) {
  ConfigRequest more = request();
  more.extendInfo = {{"hostver", "9.1"}, {"hitseq", "abc"}};
  const std::string extendInfo = R"({"hitseq":"abc","hostver":"9.1","zuuid":"1234567890123"})";
  EXPECT_EQ(requestBody(more), kBeforeExtendInfo + extendInfo + kAfterExtendInfo);
}

TEST(ConfigRequestBody, LetsAPairReplaceTheUserId) {
  ConfigRequest other = request();
  other.extendInfo = {{"zuuid", "7"}};
  EXPECT_EQ(requestBody(other), kBeforeExtendInfo + R"({"zuuid":"7"})" + kAfterExtendInfo);
}

TEST(ConfigRequestBody, KeepsMembersThatAreEmpty) {
  EXPECT_EQ(requestBody({}),
            R"({"bssCode":"","bssMode":"all","bssVersion":"0","client":"pc","extendInfo":{"zuuid":"0"},)"
            R"("osVersion":"","version":""})");
}

TEST(ConfigRequestBody, EscapesWhatTheTextsHold) {
  ConfigRequest special;
  special.bssCode = "\"\\\n";
  special.version = "\xc3\xa9\xff";
  special.extendInfo = {{"a\"b", "\t"}};
  EXPECT_EQ(requestBody(special), R"({"bssCode":"\"\\\n","bssMode":"all","bssVersion":"0","client":"pc",)"
                                  R"("extendInfo":{"a\"b":"\t","zuuid":"0"},"osVersion":"","version":"\u00e9\ufffd"})");
}

TEST(ConfigRequestBody, KeepsALineEndInsideATextAtTheEnd) {
  ConfigRequest ending;
  ending.version = "1\n";
  EXPECT_TRUE(requestBody(ending).ends_with(R"("version":"1\n"})"));
}

TEST(UidHeader, TellsTheUserIdInDecimal) {
  EXPECT_EQ(uidHeader(0), "uid: 0");
  EXPECT_EQ(uidHeader(1234567890123), "uid: 1234567890123");
  EXPECT_EQ(uidHeader(UINT64_MAX), "uid: 18446744073709551615");
}

}  // namespace
}  // namespace zuvia
