#include "zuserve/ConfigExchange.h"

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

TEST(ConfigAnswer, HoldsTheEntryAsText) {
  EXPECT_EQ(
      configAnswer(UpdateEntry{"2.0.0.47", "aa", "bb", "https://x"}),
      R"({"configs":{"zu_plugin_update":"{\"dmd5\":\"bb\",\"pmd5\":\"aa\",\"url\":\"https://x\",\"ver\":\"2.0.0.47\"}"}})");
}

TEST(ConfigAnswer, HoldsNothingWithoutAnEntry) {
  EXPECT_EQ(configAnswer(std::nullopt), R"({"configs":{}})");
}

}  // namespace
}  // namespace zuvia::zuserve
