#include "zuserve/Service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "RunningService.h"
#include "shared/CommandLine.h"
#include "shared/EntryText.h"

namespace zuvia::zuserve {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

using ServiceTest = RunningService;

TEST_F(ServiceTest, ServesFiles) {
  const httplib::Result result = client->Get("/a.txt");
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 200);
  EXPECT_EQ(result->body, "hello");
  EXPECT_EQ(result->get_header_value("Content-Type"), "text/plain; charset=utf-8");
  stop();
  EXPECT_THAT(lines, ElementsAre("GET /a.txt 200 5"));
}

TEST_F(ServiceTest, ServesLargeFilesWholeAndInParts) {
  std::string content(3'000'001, '\0');
  for (std::size_t index = 0; index < content.size(); ++index) content[index] = static_cast<char>(index % 251);
  test::writeFile(tree.path(L"site\\x.7z"), content);
  const httplib::Result whole = client->Get("/x.7z");
  ASSERT_TRUE(whole);
  EXPECT_TRUE(whole->body == content);
  const httplib::Result part = client->Get("/x.7z", {{"Range", "bytes=1000000-1000009"}});
  ASSERT_TRUE(part);
  EXPECT_EQ(part->status, 206);
  EXPECT_EQ(part->body, content.substr(1'000'000, 10));
  stop();
  EXPECT_THAT(lines, ElementsAre("GET /x.7z 200 3000001", "GET /x.7z 206 10"));
}

TEST_F(ServiceTest, ServesEmptyFilesAndHeads) {
  test::writeFile(tree.path(L"site\\empty.txt"), "");
  EXPECT_EQ(statusOf("/empty.txt"), 200);
  const httplib::Result head = client->Head("/a.txt");
  ASSERT_TRUE(head);
  EXPECT_EQ(head->get_header_value("Content-Length"), "5");
  stop();
  EXPECT_THAT(lines, ElementsAre("GET /empty.txt 200 0", "HEAD /a.txt 200 0"));
}

TEST_F(ServiceTest, ServesNothingElse) {
  test::writeFile(tree.path(L"secret.txt"), "secret");
  for (const char* target : {"//", "/none", "/../secret.txt", "/%2e%2e/secret.txt", "/..%2fsecret.txt",
                             "/..%5csecret.txt", "/%2e%2e%5csecret.txt", "/a.txt%00", "/nul", "/A.TXT"}) {
    EXPECT_EQ(statusOf(target), 404) << target;
  }
  EXPECT_EQ(statusOf("/" + std::string(8000, 'a')), 404);
  EXPECT_EQ(statusOf("/" + std::string(9000, 'a')), 414);
}

TEST_F(ServiceTest, TakesNoOtherMethods) {
  EXPECT_EQ(client->Put("/a.txt", "x", "text/plain")->status, 404);
  EXPECT_EQ(client->Delete("/a.txt")->status, 404);
  EXPECT_EQ(client->Post("/a.txt", "x", "text/plain")->status, 404);
  EXPECT_EQ(test::readFile(tree.path(L"site\\a.txt")), "hello");
}

TEST_F(ServiceTest, AnswersTheConfigurationRequestWithWhatIsThere) {
  EXPECT_EQ(post("{}")->body, R"({"configs":{}})");
  test::writeFile(tree.path(L"site\\x.json"),
                  tools::entryText({"2.0.0.47", "aa", "bb", "https://x"}, tools::EntryLayout::Readable));
  const httplib::Result result =
      post(R"({"version":"2.0.0","osVersion":"Windows 10","extendInfo":{"hostver":"7.1","hitseq":"A\nB"}})",
           {{"uid", "12"}});
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 200);
  EXPECT_EQ(result->get_header_value("Content-Type"), "application/json");
  EXPECT_THAT(result->body, HasSubstr(R"(\"ver\":\"2.0.0.47\")"));
  stop();
  EXPECT_THAT(
      lines,
      ElementsAre(
          R"(POST /configs/pc/post 200 14 uid="" version="" hostver="" hitseq="" osVersion="" answer="nothing" why="no entry in the site")",
          "POST /configs/pc/post 200 " + std::to_string(result->body.size()) +
              R"( uid="12" version="2.0.0" hostver="7.1" hitseq="A\x0aB" osVersion="Windows 10" answer="2.0.0.47" why="newest entry")"));
}

TEST_F(ServiceTest, SaysWhichFilesItSkipped) {
  test::writeFile(tree.path(L"site\\x.json"), R"({"ver":"2.0","pmd5":"a","dmd5":"b","url":"c"})");
  EXPECT_EQ(post("{}")->body, R"({"configs":{}})");
  stop();
  EXPECT_THAT(
      lines,
      ElementsAre(HasSubstr(R"( answer="nothing" why="no entry in the site" skipped="x.json: not a version: 2.0")")));
}

TEST_F(ServiceTest, RefusesABadRequest) {
  for (const char* body : {"", "text", "[]", R"({"version":1})"}) EXPECT_EQ(post(body)->status, 400) << body;
  stop();
  EXPECT_THAT(lines, testing::Each(R"(POST /configs/pc/post 400 28 uid="" answer="bad request")"));
  EXPECT_EQ(lines.size(), 4u);
}

TEST_F(ServiceTest, RefusesARequestThatIsTooLong) {
  EXPECT_EQ(post(std::string(65'537, ' '))->status, 413);
}

TEST_F(ServiceTest, EscapesWhatTheClientSends) {
  EXPECT_EQ(statusOf("/\x1b[2J%0d%0a\xff"), 404);
  stop();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_THAT(lines[0], AllOf(StartsWith("GET /"), testing::Not(HasSubstr("\x1b")), testing::EndsWith(" 404 10")));
}

TEST_F(ServiceTest, ServesSeveralClientsAtOnce) {
  std::vector<std::thread> clients;
  std::atomic<int> served = 0;
  for (int index = 0; index < 6; ++index) {
    clients.emplace_back([&] {
      httplib::SSLClient one("127.0.0.1", port);
      one.enable_server_certificate_verification(false);
      const httplib::Result result = one.Get("/a.txt");
      if (result && result->body == "hello") ++served;
    });
  }
  for (std::thread& one : clients) one.join();
  EXPECT_EQ(served, 6);
  stop();
  EXPECT_EQ(lines, std::vector<std::string>(6, "GET /a.txt 200 5"));
}

// ---- With settings

class ChosenServiceTest : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    test::writeFile(tree.path(L"site\\x.json"),
                    tools::entryText({"2.0.0.47", "aa", "bb", "https://x"}, tools::EntryLayout::Readable));
  }

  void set(const std::string& settings) {
    ASSERT_EQ(client->Post("/api/settings", settings, "application/json")->status, 200) << settings;
  }

  // Whether a user is offered the entry.
  bool offers(const std::string& uid, const std::string& hostver = "7.1") {
    const httplib::Result result = post(R"({"extendInfo":{"hostver":")" + hostver + R"("}})", {{"uid", uid}});
    return result && result->body.find("2.0.0.47") != std::string::npos;
  }
};

TEST_F(ChosenServiceTest, OffersTheEntryToThoseWhoAreMeant) {
  set(R"({"share":10})");
  EXPECT_TRUE(offers("10"));
  EXPECT_FALSE(offers("9"));
  set(R"({"share":100,"hostVersion":">=7.1"})");
  EXPECT_TRUE(offers("9", "7.1.0"));
  EXPECT_FALSE(offers("9", "7.0.9"));
  set(R"({"hostVersion":"","paused":true})");
  EXPECT_FALSE(offers("10"));
  set(R"({"paused":false})");
  EXPECT_TRUE(offers("10"));
  stop();
  EXPECT_THAT(lines, testing::Contains(HasSubstr(R"(uid="9" version="" hostver="7.1" hitseq="" osVersion="" )"
                                                 R"(answer="nothing" why="user not among the 10 %")")));
}

TEST_F(ChosenServiceTest, FailsOnPurpose) {
  set(R"({"fault":"status:503"})");
  EXPECT_EQ(statusOf("/a.txt"), 503);
  EXPECT_EQ(statusOf("/none"), 404);
  EXPECT_TRUE(offers("1"));
  set(R"({"fault":"cut:3"})");
  EXPECT_FALSE(client->Get("/a.txt"));
  set(R"({"fault":"badmd5"})");
  EXPECT_THAT(post("{}")->body, HasSubstr(R"(\"pmd5\":\"0a\")"));
  EXPECT_EQ(client->Get("/a.txt")->body, "hello");
  set(R"({"fault":"config:status:500"})");
  EXPECT_EQ(post("{}")->status, 500);
  EXPECT_EQ(statusOf("/a.txt"), 200);
  set(R"({"fault":"config:cut"})");
  EXPECT_FALSE(post("{}"));
  stop();
  EXPECT_THAT(lines, testing::IsSupersetOf({std::string(R"(GET /a.txt 503 11 fault="status:503")"),
                                            std::string(R"(GET /a.txt 200 3 fault="cut:3" transfer="incomplete")")}));
}

TEST_F(ChosenServiceTest, NoticesThatAClientHasLeftAStalledTransfer) {
  set(R"({"fault":"stall:2"})");
  client->set_read_timeout(1);
  EXPECT_FALSE(client->Get("/a.txt"));
  for (int attempt = 0; attempt < 500; ++attempt) {
    {
      const std::lock_guard lock(mutex);
      if (lines.size() == 2) break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  const std::lock_guard lock(mutex);
  EXPECT_THAT(lines, testing::Contains(R"(GET /a.txt 200 2 fault="stall:2" transfer="incomplete")"));
}

// ---- Ports

TEST_F(ServiceTest, RefusesAPortThatIsTaken) {
  Service second(Site(tree.path(L"site")), issueLocalCertificate(openAuthority(tree.path(L"ca"))), [](const auto&) {});
  try {
    second.bind(port);
    ADD_FAILURE() << "two services on one port";
  } catch (const tools::Failure& failure) {
    EXPECT_EQ(failure.what(), "cannot listen on 127.0.0.1:" + std::to_string(port) + ": the port is in use");
  }
}

TEST_F(ServiceTest, RefusesAnAddressOfAnotherMachine) {
  Service second(Site(tree.path(L"site")), issueLocalCertificate(openAuthority(tree.path(L"ca"))), [](const auto&) {});
  try {
    second.bind(0, "192.0.2.1");
    ADD_FAILURE() << "it listens";
  } catch (const tools::Failure& failure) {
    EXPECT_STREQ(failure.what(), "cannot listen on 192.0.2.1:0: the address is not one of this machine");
  }
}

TEST_F(ServiceTest, EndsATransferThatIsStopped) {
  test::writeFile(tree.path(L"site\\x.7z"), "");
  std::filesystem::resize_file(tree.path(L"site\\x.7z"), 90'000'000);
  const httplib::Result result = client->Get("/x.7z", [this](const char*, std::size_t) {
    service->stop();
    return true;
  });
  EXPECT_FALSE(result);
  stop();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_THAT(lines[0], testing::EndsWith(R"( transfer="incomplete")"));
}

TEST(Service, MayBeStoppedBeforeItRuns) {
  const test::TemporaryTree tree;
  test::makeDirectories(tree.path(L"site"));
  Service service(Site(tree.path(L"site")), issueLocalCertificate(openAuthority(tree.path(L"ca"))), [](const auto&) {});
  EXPECT_GT(service.bind(0), 0);
  std::thread stopping([&] { service.stop(); });
  service.run();
  stopping.join();
  service.stop();
}

}  // namespace
}  // namespace zuvia::zuserve
