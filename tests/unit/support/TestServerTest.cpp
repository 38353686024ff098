#include "support/TestServer.h"

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "HttpClient.h"
#include "support/TrustedRoot.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::Gt;
using testing::Lt;
using testing::Pair;
using testing::SizeIs;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

class TestServerTest : public testing::Test {
 protected:
  // Expects one GET of "/x" and makes it.
  TransferResult get(Answer answer, long timeout = 20) {
    server.expect("GET", "/x", std::move(answer));
    return transfer({.url = server.url("/x"), .timeout = timeout});
  }

  TestServer server;
  TrustedRoot trusted{server.rootPem()};
};

TEST_F(TestServerTest, AnswersAndRecordsAPost) {
  server.expect("POST", "/configs/pc/post", Answer::respond(200, "{}", {{"Content-Type", "application/json"}}));
  const TransferResult result =
      transfer({.url = server.url("/configs/pc/post"), .postBody = "{\"a\":1}", .headers = {"X-One: 1", "X-Two: 2 3"}});
  EXPECT_EQ(result.code, CURLE_OK);
  EXPECT_EQ(result.status, 200);
  EXPECT_EQ(result.body, "{}");
  ASSERT_THAT(server.requests(), SizeIs(1));
  const Request request = server.requests().front();
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.target, "/configs/pc/post");
  EXPECT_EQ(request.body, "{\"a\":1}");
  EXPECT_TRUE(request.tls);
  EXPECT_THAT(request.headers, Contains(Pair("X-One", "1")));
  EXPECT_EQ(request.header("x-two"), "2 3");
  EXPECT_EQ(request.header("X-Three"), std::nullopt);
}

TEST_F(TestServerTest, TakesALongBody) {
  server.expect("POST", "/x", Answer::respond(200));
  const std::string body(3'000'000, 'b');
  EXPECT_EQ(transfer({.url = server.url("/x"), .postBody = body}).code, CURLE_OK);
  EXPECT_EQ(server.requests().front().body, body);
}

TEST_F(TestServerTest, SendsALongBodyWhole) {
  std::string body(5'000'000, 'x');
  body.back() = 'y';
  const TransferResult result = get(Answer::respond(200, body));
  EXPECT_EQ(result.code, CURLE_OK);
  EXPECT_TRUE(result.body == body);
}

TEST_F(TestServerTest, Redirects) {
  server.expect("GET", "/x", Answer::redirect(302, server.url("/y")));
  server.expect("GET", "/y", Answer::respond(200, "there"));
  EXPECT_EQ(transfer({.url = server.url("/x"), .follow = true}).body, "there");
}

TEST_F(TestServerTest, SendsChunks) {
  const TransferResult result = get(Answer::respond(200, std::string(100'000, 'c')).chunked());
  EXPECT_EQ(result.code, CURLE_OK);
  EXPECT_EQ(result.body.size(), 100'000u);
}

TEST_F(TestServerTest, LeavesTheLengthOut) {
  const TransferResult result = get(Answer::respond(200, "until the end").withoutLength());
  EXPECT_EQ(result.code, CURLE_OK);
  EXPECT_EQ(result.body, "until the end");
}

TEST_F(TestServerTest, DeclaresALengthThatIsTooLong) {
  const TransferResult result = get(Answer::respond(200, "12345").declareLength(6));
  EXPECT_EQ(result.code, CURLE_PARTIAL_FILE);
  EXPECT_EQ(result.body, "12345");
}

TEST_F(TestServerTest, DeclaresALengthThatIsTooShort) {
  const TransferResult result = get(Answer::respond(200, "12345").declareLength(4));
  EXPECT_EQ(result.code, CURLE_OK);
  EXPECT_EQ(result.body, "1234");
}

TEST_F(TestServerTest, CutsTheBody) {
  const TransferResult result = get(Answer::respond(200, "12345").cutAfter(3));
  EXPECT_NE(result.code, CURLE_OK);
  EXPECT_EQ(result.body, "123");
}

TEST_F(TestServerTest, ClosesInTheMiddleInOrder) {
  const TransferResult result = get(Answer::respond(200, "12345").closeAfter(2));
  EXPECT_EQ(result.code, CURLE_PARTIAL_FILE);
  EXPECT_EQ(result.body, "12");
}

TEST_F(TestServerTest, StallsInTheBody) {
  const TransferResult result = get(Answer::respond(200, "12345").stallAfter(2), 2);
  EXPECT_EQ(result.code, CURLE_OPERATION_TIMEDOUT);
  EXPECT_EQ(result.body, "12");
}

TEST_F(TestServerTest, StallsAfterTheHeaders) {
  const TransferResult result = get(Answer::respond(200, "12345").stallAfter(0), 2);
  EXPECT_EQ(result.code, CURLE_OPERATION_TIMEDOUT);
  EXPECT_EQ(result.status, 200);
  EXPECT_EQ(result.body, "");
}

TEST_F(TestServerTest, StallsBeforeTheHeaders) {
  const TransferResult result = get(Answer::respond(200, "12345").stallBeforeHeaders(), 2);
  EXPECT_EQ(result.code, CURLE_OPERATION_TIMEDOUT);
  EXPECT_EQ(result.status, 0);
}

TEST_F(TestServerTest, DripsAtTheSpeedAsked) {
  const auto start = Clock::now();
  const TransferResult result = get(Answer::respond(200, "123456").drip(5));
  EXPECT_EQ(result.body, "123456");
  EXPECT_THAT(secondsSince(start), Gt(1.0));
}

TEST_F(TestServerTest, SendsMoreThanItHolds) {
  const TransferResult result = get(Answer::oversize(2'000'000));
  EXPECT_EQ(result.code, CURLE_OK);
  EXPECT_TRUE(result.body == std::string(2'000'000, '\0'));
}

TEST_F(TestServerTest, AcceptsInSilence) {
  server.acceptInSilence();
  EXPECT_EQ(transfer({.url = server.url("/x"), .timeout = 2}).code, CURLE_OPERATION_TIMEDOUT);
  EXPECT_EQ(get(Answer::respond(200)).code, CURLE_OK);
  EXPECT_EQ(server.connections(), 2u);
}

TEST_F(TestServerTest, AnswersWithoutTls) {
  server.answerWithoutTls("HTTP/1.1 200 OK\r\n\r\n");
  server.answerWithoutTls("");
  EXPECT_EQ(transfer({.url = server.url("/x")}).code, CURLE_SSL_CONNECT_ERROR);
  EXPECT_EQ(transfer({.url = server.url("/x")}).code, CURLE_SSL_CONNECT_ERROR);
  EXPECT_EQ(get(Answer::respond(200)).code, CURLE_OK);
  EXPECT_EQ(server.connections(), 3u);
  EXPECT_THAT(server.requests(), SizeIs(1));
}

TEST_F(TestServerTest, TellsPlainRequests) {
  server.expect("GET", "/x", Answer::respond(200, "plain"));
  const std::string url = "http://127.0.0.1:" + std::to_string(server.port()) + "/x";
  EXPECT_EQ(transfer({.url = url}).body, "plain");
  EXPECT_FALSE(server.requests().front().tls);
}

TEST_F(TestServerTest, ServesStandingAnswersAnyNumberOfTimes) {
  server.serve("GET", "/x", Answer::respond(200, "standing"));
  server.serve("GET", "/never", Answer::respond(200));
  EXPECT_EQ(transfer({.url = server.url("/x")}).body, "standing");
  EXPECT_EQ(transfer({.url = server.url("/x")}).body, "standing");
}

TEST_F(TestServerTest, ReplacesAStandingAnswer) {
  server.serve("GET", "/x", Answer::respond(200, "first"));
  server.serve("GET", "/x", Answer::respond(200, "second"));
  EXPECT_EQ(transfer({.url = server.url("/x")}).body, "second");
}

TEST_F(TestServerTest, IsGoneUntilItIsReopened) {
  server.serve("GET", "/x", Answer::respond(200, "there"));
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(transfer({.url = server.url("/x")}).body, "there");
    server.close();
    EXPECT_EQ(transfer({.url = server.url("/x")}).code, CURLE_COULDNT_CONNECT);
    server.reopen();
  }
  EXPECT_EQ(transfer({.url = server.url("/x")}).body, "there");
}

TEST_F(TestServerTest, ClosesInTheMiddleOfAnAnswer) {
  server.serve("GET", "/x", Answer::respond(200, "12345").stallAfter(2));
  int code = CURLE_OK;
  std::thread client([&] { code = transfer({.url = server.url("/x")}).code; });
  EXPECT_TRUE(server.waitForRequests(1));
  server.close();
  client.join();
  EXPECT_NE(code, CURLE_OK);
}

TEST_F(TestServerTest, WaitsForRequests) {
  server.expect("GET", "/x", Answer::respond(200));
  EXPECT_FALSE(server.waitForRequests(1, 10));
  std::thread client([this] { transfer({.url = server.url("/x")}); });
  EXPECT_TRUE(server.waitForRequests(1));
  client.join();
}

TEST_F(TestServerTest, ServesSeveralAtOnce) {
  server.serve("GET", "/slow", Answer::respond(200, "12345").drip(5));
  const auto start = Clock::now();
  std::thread one([this] { transfer({.url = server.url("/slow")}); });
  std::thread other([this] { transfer({.url = server.url("/slow")}); });
  one.join();
  other.join();
  EXPECT_THAT(secondsSince(start), Lt(2.5));
}

TEST(TestServerCertificate, IsRefusedWhileNobodyTrustsIt) {
  TestServer server;
  EXPECT_EQ(transfer({.url = server.url("/x")}).code, CURLE_PEER_FAILED_VERIFICATION);
  EXPECT_EQ(server.requests().size(), 0u);
}

TEST(TestServerCertificate, MayBeForAnotherName) {
  TestServer server({.names = {"other.example"}});
  const TrustedRoot trusted(server.rootPem());
  EXPECT_EQ(transfer({.url = server.url("/x")}).code, CURLE_PEER_FAILED_VERIFICATION);
}

TEST(TestServerCertificate, MayHaveExpired) {
  TestServer server({.expired = true});
  const TrustedRoot trusted(server.rootPem());
  EXPECT_EQ(transfer({.url = server.url("/x")}).code, CURLE_PEER_FAILED_VERIFICATION);
}

TEST(TestServerStrictness, FailsForAnUnexpectedRequest) {
  static TestServer* server = nullptr;
  TestServer own;
  server = &own;
  const TrustedRoot trusted(own.rootPem());
  EXPECT_EQ(transfer({.url = own.url("/other")}).status, 500);
  EXPECT_NONFATAL_FAILURE(server->verify(), "Unexpected request: GET /other");
}

TEST(TestServerStrictness, FailsForARequestOutOfOrder) {
  TestServer own;
  const TrustedRoot trusted(own.rootPem());
  own.expect("GET", "/1", Answer::respond(200));
  own.expect("GET", "/2", Answer::respond(200));
  transfer({.url = own.url("/2")});
  transfer({.url = own.url("/1")});
  testing::TestPartResultArray failures;
  {
    const testing::ScopedFakeTestPartResultReporter reporter(&failures);
    own.verify();
  }
  ASSERT_EQ(failures.size(), 2);
  EXPECT_THAT(failures.GetTestPartResult(0).message(), testing::HasSubstr("Unexpected request: GET /2"));
  EXPECT_THAT(failures.GetTestPartResult(1).message(), testing::HasSubstr("Expected, but not requested: GET /2"));
}

TEST(TestServerStrictness, TakesAnyOrderWhereAsked) {
  TestServer server({.inAnyOrder = true});
  const TrustedRoot trusted(server.rootPem());
  server.expect("GET", "/1", Answer::respond(200));
  server.expect("GET", "/2", Answer::respond(200));
  EXPECT_EQ(transfer({.url = server.url("/2")}).status, 200);
  EXPECT_EQ(transfer({.url = server.url("/1")}).status, 200);
}

TEST(TestServerStrictness, FailsAtItsEndForAnUnmetExpectation) {
  static std::unique_ptr<TestServer> server;
  server = std::make_unique<TestServer>();
  server->expect("GET", "/x", Answer::respond(200));
  EXPECT_NONFATAL_FAILURE(server.reset(), "Expected, but not requested: GET /x");
}

TEST(TestServerEnd, ComesPromptlyWhileClientsWait) {
  auto server = std::make_unique<TestServer>();
  const TrustedRoot trusted(server->rootPem());
  server->expect("GET", "/x", Answer::respond(200, "12345").stallAfter(1));
  std::thread client([url = server->url("/x")] { transfer({.url = url}); });
  ASSERT_TRUE(server->waitForRequests(1));
  const auto start = Clock::now();
  server.reset();
  EXPECT_THAT(secondsSince(start), Lt(2.0));
  client.join();
}

}  // namespace
}  // namespace zuvia::test
