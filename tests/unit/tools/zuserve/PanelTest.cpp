#include "zuserve/Panel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <json/json.h>

#include "RunningService.h"
#include "shared/EntryText.h"
#include "zuserve/Page.h"

namespace zuvia::zuserve {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

Json::Value parsed(const std::string& text) {
  Json::Value value;
  std::istringstream(text) >> value;
  return value;
}

class PanelTest : public RunningService {
 protected:
  httplib::Result change(const std::string& body, const httplib::Headers& headers = {},
                         const char* type = "application/json") {
    return client->Post("/api/settings", headers, body, type);
  }

  Json::Value state() { return parsed(client->Get("/api/state")->body); }

  // Reads events until a text has come, and returns everything that came.
  std::string eventsUntil(const std::string& text, const std::function<void()>& whenBegun) {
    std::string events;
    bool hasBegun = false;
    client->Get("/api/events", [&](const char* data, std::size_t length) {
      events.append(data, length);
      if (!hasBegun && events.find("event: begin") != std::string::npos) {
        hasBegun = true;
        whenBegun();
      }
      return events.find(text) == std::string::npos;
    });
    return events;
  }
};

TEST_F(PanelTest, ShowsThePageUnderItsPolicy) {
  const httplib::Result page = client->Get("/");
  ASSERT_TRUE(page);
  EXPECT_EQ(page->status, 200);
  EXPECT_EQ(page->body, pageText());
  EXPECT_EQ(page->get_header_value("Content-Type"), "text/html; charset=utf-8");
  EXPECT_EQ(page->get_header_value("Content-Security-Policy"), pagePolicy());
  EXPECT_FALSE(page->has_header("Access-Control-Allow-Origin"));
  stop();
  EXPECT_THAT(lines, ElementsAre());
}

TEST_F(PanelTest, TellsTheState) {
  test::writeFile(tree.path(L"site\\a.json"),
                  tools::entryText({"2.0.0.46", "aa", "bb", "https://a"}, tools::EntryLayout::Compact));
  test::writeFile(tree.path(L"site\\b.json"),
                  tools::entryText({"2.0.0.47", "cc", "dd", "https://b"}, tools::EntryLayout::Compact));
  test::writeFile(tree.path(L"site\\c.json"), "{}");
  const Json::Value value = state()["state"];
  ASSERT_EQ(value["packages"].size(), 2u);
  EXPECT_EQ(value["packages"][0]["ver"], "2.0.0.47");
  EXPECT_TRUE(value["packages"][0]["newest"].asBool());
  EXPECT_EQ(value["packages"][1]["url"], "https://a");
  EXPECT_FALSE(value["packages"][1]["newest"].asBool());
  EXPECT_EQ(value["skipped"][0], "c.json: ver, pmd5, dmd5 or url is missing");
  EXPECT_EQ(value["settings"]["share"], 100);
  EXPECT_EQ(value["readOnly"], "");
}

TEST_F(PanelTest, TellsTheRequests) {
  post(R"({"osVersion":"Windows 10","extendInfo":{"hostver":"7.1","hitseq":"AB"}})", {{"uid", "12"}});
  client->Get("/a.txt");
  client->Get("/none");
  change(R"({"share":10})");
  change(R"({"share":101})");
  const Json::Value requests = state()["requests"];
  ASSERT_EQ(requests.size(), 5u);
  EXPECT_EQ(requests[0]["request"], "POST /configs/pc/post");
  EXPECT_EQ(requests[0]["uid"], "12");
  EXPECT_EQ(requests[0]["hostver"], "7.1");
  EXPECT_EQ(requests[0]["hitseq"], "AB");
  EXPECT_EQ(requests[0]["osVersion"], "Windows 10");
  EXPECT_EQ(requests[0]["answer"], "nothing");
  EXPECT_EQ(requests[0]["why"], "no entry in the site");
  EXPECT_EQ(requests[1]["answer"], "200, 5 bytes");
  EXPECT_EQ(requests[1]["why"], "in the site");
  EXPECT_EQ(requests[2]["answer"], "404, 10 bytes");
  EXPECT_EQ(requests[2]["why"], "not in the site");
  EXPECT_EQ(requests[3]["answer"], "changed");
  EXPECT_THAT(requests[3]["why"].asString(), HasSubstr("\"share\":10"));
  EXPECT_EQ(requests[4]["answer"], "refused");
}

TEST_F(PanelTest, TellsRequestsAndChangesAsTheyCome) {
  httplib::SSLClient other("127.0.0.1", port);
  other.enable_server_certificate_verification(false);
  EXPECT_THAT(eventsUntil("event: requests", [&] { other.Get("/none"); }),
              AllOf(testing::StartsWith("event: state\ndata: {"), HasSubstr(R"("request":"GET /none")")));
  EXPECT_THAT(eventsUntil("\"share\":7", [&] { other.Post("/api/settings", R"({"share":7})", "application/json"); }),
              HasSubstr("event: state\n"));
  EXPECT_THAT(eventsUntil("2.0.0.47",
                          [&] {
                            test::writeFile(
                                tree.path(L"site\\x.json"),
                                tools::entryText({"2.0.0.47", "a", "b", "https://x"}, tools::EntryLayout::Compact));
                          }),
              HasSubstr(R"("ver":"2.0.0.47")"));
}

TEST_F(PanelTest, ShowsATransferWhileItLasts) {
  ASSERT_EQ(change(R"({"fault":"stall:0"})")->status, 200);
  httplib::SSLClient other("127.0.0.1", port);
  other.enable_server_certificate_verification(false);
  other.set_read_timeout(60);
  std::thread stalled([&] { EXPECT_FALSE(other.Get("/a.txt")); });
  const std::string events = eventsUntil("\"answer\":\"sending\"", [] {});
  EXPECT_THAT(events, HasSubstr("\"why\":\"in the site, fault stall:0\""));
  stop();
  stalled.join();
  EXPECT_THAT(lines, testing::Contains(R"(GET /a.txt 200 0 fault="stall:0" transfer="incomplete")"));
}

TEST_F(PanelTest, TurnsAwayMorePagesThanItHasThreadsFor) {
  std::vector<std::thread> pages;
  std::atomic<int> open = 0;
  for (int index = 0; index < 8; ++index) {
    pages.emplace_back([&] {
      httplib::SSLClient page("127.0.0.1", port);
      page.enable_server_certificate_verification(false);
      page.Get("/api/events", [&, isFirst = true](const char*, std::size_t) mutable {
        if (std::exchange(isFirst, false)) ++open;
        return true;
      });
    });
  }
  for (int attempt = 0; attempt < 1000 && open < 8; ++attempt)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_EQ(client->Get("/api/events")->status, 503);
  stop();
  for (std::thread& page : pages) page.join();
}

TEST_F(PanelTest, ChangesSettings) {
  const httplib::Result result = change(R"({"share":10,"fault":"status:503"})");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 200);
  EXPECT_EQ(result->body, "{\"fault\":\"status:503\",\"hostVersion\":\"\",\"paused\":false,\"share\":10}\n");
  EXPECT_EQ(client->Get("/a.txt")->status, 503);
  stop();
  EXPECT_THAT(
      lines,
      ElementsAre(
          R"(POST /api/settings 200 66 settings="{\"fault\":\"status:503\",\"hostVersion\":\"\",\"paused\":false,\"share\":10}")",
          R"(GET /a.txt 503 11 fault="status:503")"));
}

TEST_F(PanelTest, ChangesNothingOnABadRequest) {
  const httplib::Result result = change(R"({"share":101})");
  EXPECT_EQ(result->status, 400);
  EXPECT_EQ(result->body, "{\"error\":\"not a share of the users: 101; from 0 to 100, with at most two decimals\"}\n");
  EXPECT_EQ(state()["state"]["settings"]["share"], 100);
}

TEST_F(PanelTest, ChangesNothingForOtherPages) {
  const char* body = R"({"share":0})";
  const std::string own = "https://localhost:" + std::to_string(port);
  EXPECT_EQ(change(body, {{"Origin", "https://evil.example"}})->status, 403);
  EXPECT_EQ(change(body, {{"Origin", "null"}})->status, 403);
  EXPECT_EQ(change(body, {{"Host", "evil.example"}})->status, 403);
  EXPECT_EQ(change(body, {{"Host", "evil.example"}, {"Origin", "https://evil.example"}})->status, 403);
  EXPECT_EQ(change(body, {{"Sec-Fetch-Site", "cross-site"}})->status, 403);
  EXPECT_EQ(change(body, {}, "text/plain")->status, 415);
  EXPECT_EQ(change("share=0", {}, "application/x-www-form-urlencoded")->status, 415);
  EXPECT_EQ(client->Options("/api/settings")->status, 404);
  EXPECT_EQ(client->Get("/api/settings")->status, 405);
  EXPECT_EQ(state()["state"]["settings"]["share"], 100);
  const httplib::Result result =
      change(body, {{"Host", own.substr(8)}, {"Origin", own}, {"Sec-Fetch-Site", "same-origin"}});
  EXPECT_EQ(result->status, 200);
  EXPECT_FALSE(result->has_header("Access-Control-Allow-Origin"));
}

TEST_F(PanelTest, TellsOtherPagesNothing) {
  for (const char* path : {"/api/state", "/api/events"}) {
    EXPECT_EQ(client->Get(path, {{"Origin", "https://evil.example"}})->status, 403);
    EXPECT_EQ(client->Get(path, {{"Sec-Fetch-Site", "cross-site"}})->status, 403);
    EXPECT_EQ(client->Get(path, {{"Host", "evil.example"}})->status, 403);
  }
  EXPECT_EQ(client->Get("/", {{"Host", "evil.example"}})->status, 403);
  EXPECT_EQ(client->Get("/api/other")->status, 404);
  stop();
  EXPECT_EQ(lines.size(), 8u);
}

}  // namespace
}  // namespace zuvia::zuserve
