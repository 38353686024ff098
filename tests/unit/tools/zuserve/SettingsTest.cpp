#include "zuserve/Settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include "shared/CommandLine.h"

namespace zuvia::zuserve {
namespace {

std::string textOf(const Settings& settings) {
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  return Json::writeString(writer, settingsValue(settings));
}

Settings settingsWith(const std::string& json) {
  return changedSettings({}, json);
}

const Offer kOffer{UpdateEntry{"2.0.0.47", "1a", "2b", "https://x"}, {}, {}};

// Which of the users 0 to 119 are offered a version when a tenth of them is.
std::vector<int> tenthFor(const char* version) {
  const Offer offer{UpdateEntry{version, "1a", "2b", "https://x"}, {}, {}};
  std::vector<int> users;
  for (int uid = 0; uid < 120; ++uid) {
    if (decide(settingsWith(R"({"share":10})"), offer, std::to_string(uid), "7.1").entry) users.push_back(uid);
  }
  return users;
}

TEST(Settings, OfferEverythingToEverybodyAtFirst) {
  EXPECT_EQ(textOf({}), R"({"fault":"none","hostVersion":"","paused":false,"share":100})");
}

TEST(Settings, ChangeByMembers) {
  const Settings settings = settingsWith(R"({"share": 12.5, "hostVersion": ">=7.1,<8"})");
  EXPECT_EQ(textOf(settings), R"({"fault":"none","hostVersion":">=7.1, <8","paused":false,"share":12.5})");
  EXPECT_EQ(textOf(changedSettings(settings, R"({"paused": true, "fault": "cut"})")),
            R"({"fault":"cut","hostVersion":">=7.1, <8","paused":true,"share":12.5})");
}

TEST(Settings, AreRefusedWithOneLineAndStayAsTheyAre) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "not a JSON object with share, hostVersion, paused or fault in it"},
      {"{}", "not a JSON object with share, hostVersion, paused or fault in it"},
      {"[]", "not a JSON object with share, hostVersion, paused or fault in it"},
      {"{\"share\":1} x", "not a JSON object with share, hostVersion, paused or fault in it"},
      {R"({"share":1,"share":2})", "not a JSON object with share, hostVersion, paused or fault in it"},
      {std::string(60'000, '['), "not a JSON object with share, hostVersion, paused or fault in it"},
      {R"({"share":"10"})", "share is not a number"},
      {R"({"share":true})", "share is not a number"},
      {R"({"share":null})", "share is not a number"},
      {R"({"share":101})", "not a share of the users: 101; from 0 to 100, with at most two decimals"},
      {R"({"hostVersion":7})", "hostVersion is not a text"},
      {R"({"paused":1})", "paused is neither true nor false"},
      {R"({"fault":"x"})", "not a fault: \"x\"; stall:BYTES, cut, cut:BYTES, status:CODE, slow:BYTES, badmd5 or none"},
      {R"({"colour":1})", "there is no setting \"colour\""},
      {R"({"paused":true,"share":-1})", "not a share of the users: -1; from 0 to 100, with at most two decimals"}};
  SharedSettings settings({});
  for (const auto& [json, refusal] : cases) {
    try {
      settings.change(json);
      ADD_FAILURE() << json;
    } catch (const tools::Failure& failure) {
      EXPECT_EQ(failure.what(), refusal);
    }
    EXPECT_EQ(textOf(settings.get()), textOf({}));
  }
}

TEST(Decision, OffersTheNewestEntryWithItsReason) {
  EXPECT_EQ(decide({}, kOffer, "1", "7.1").entry->ver, "2.0.0.47");
  EXPECT_EQ(decide({}, kOffer, "1", "7.1").reason, "newest entry");
  EXPECT_EQ(decide({}, {}, "1", "7.1").reason, "no entry in the site");
}

TEST(Decision, OffersNothingToThoseWhoAreNotMeant) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {R"({"paused":true})", "paused"},
      {R"({"hostVersion":">=7.2"})", "host version does not fit >=7.2"},
      {R"({"share":10})", "user not among the 10 %"},
      {R"({"share":0,"hostVersion":">=7.2","paused":true})", "paused"}};
  for (const auto& [json, reason] : cases) {
    const Decision decision = decide(settingsWith(json), kOffer, "11", "7.1");
    EXPECT_FALSE(decision.entry) << json;
    EXPECT_EQ(decision.reason, reason);
  }
  const Decision decision = decide(settingsWith(R"({"share":12.34,"hostVersion":">=7.1"})"), kOffer, "10", "7.1");
  EXPECT_TRUE(decision.entry);
  EXPECT_EQ(decision.reason, "newest entry, user among the 12.34 %");
}

// What a real nginx answers for these users, with split_clients on "${http_uid} <version>" as zupack writes it.
TEST(Decision, DrawsTheUsersAnewForEachVersion) {
  EXPECT_THAT(tenthFor("2.0.0.47"), testing::ElementsAre(10, 24, 45, 58, 70, 84, 88, 102, 115, 118));
  EXPECT_THAT(tenthFor("2.0.0.48"),
              testing::ElementsAre(11, 20, 21, 35, 41, 42, 45, 57, 59, 60, 65, 78, 89, 91, 96, 117));
}

TEST(Decision, ChangesTheDigestOnPurpose) {
  const Decision decision = decide(settingsWith(R"({"fault":"badmd5"})"), kOffer, "1", "7.1");
  EXPECT_EQ(decision.entry->pmd5, "0a");
  EXPECT_EQ(decision.entry->dmd5, "2b");
  EXPECT_EQ(decision.reason, "newest entry, fault badmd5");
}

}  // namespace
}  // namespace zuvia::zuserve
