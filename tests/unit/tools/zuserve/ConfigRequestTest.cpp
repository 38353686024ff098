#include "zuserve/ConfigRequest.h"

#include <gtest/gtest.h>

namespace zuvia::zuserve {
namespace {

TEST(ConfigRequest, TellsWhatTheHostSaysAboutItself) {
  const auto request = parseConfigRequest(
      R"({"bssCode":"zu_kx_anchor","osVersion":"Windows 10","version":"2.0.0","extendInfo":{"hitseq":"AB","hostver":"7.1","zuuid":"5"}})");
  ASSERT_TRUE(request);
  EXPECT_EQ(request->version, "2.0.0");
  EXPECT_EQ(request->osVersion, "Windows 10");
  EXPECT_EQ(request->hostver, "7.1");
  EXPECT_EQ(request->hitseq, "AB");
}

TEST(ConfigRequest, NeedSayNothing) {
  const auto request = parseConfigRequest("{}");
  ASSERT_TRUE(request);
  EXPECT_EQ(request->version + request->osVersion + request->hostver + request->hitseq, "");
}

TEST(ConfigRequest, MustBeAnObjectWithTexts) {
  for (const char* body : {"", "text", "[]", "\"x\"", "1", "null", "{", "{} {}", R"({"version":1})",
                           R"({"osVersion":{}})", R"({"extendInfo":[]})", R"({"extendInfo":"x"})",
                           R"({"extendInfo":{"hostver":7}})", R"({"extendInfo":{"hitseq":null}})"}) {
    EXPECT_FALSE(parseConfigRequest(body)) << body;
  }
}

TEST(ConfigRequest, SurvivesDeepNesting) {
  EXPECT_FALSE(parseConfigRequest(std::string(60'000, '[')));
}

}  // namespace
}  // namespace zuvia::zuserve
