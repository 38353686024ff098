// The configuration request of the plugin that ships, when servers and connections misbehave.

#include "integration/network/NetworkTest.h"

#include <openssl/opensslv.h>

#include <chrono>

#include "integration/network/TransferClock.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using namespace std::chrono_literals;

const std::string kAnswer = kNothingOffered;  // 37 bytes
const std::string kMebibyte = kAnswer + std::string(1'048'576 - kAnswer.size(), ' ');
const std::wstring kNoBody = L"onFetch fail key: zu_plugin_update, body: ";
const std::vector<WideText> kDelivered = {L"Fetch ZuUpdateConfig success str: [ver: , pmd5: , dmd5:, url: ]",
                                          L"onFetch success key: zu_plugin_update, value: {}"};

class ConfigurationTest : public NetworkTest {
 protected:
  void expectPost(Answer answer) { server.expect("POST", "/configs/pc/post", std::move(answer)); }

  // Has the service answer one request so, through a whole session.
  std::vector<WideText> ask(Answer answer) {
    expectPost(std::move(answer));
    return live(L"DoFetchJob ");
  }

  // The same, with the request led to another port.
  std::vector<WideText> askAt(unsigned short port) {
    const Detour detour(module, port);
    return live(L"DoFetchJob ");
  }

  // The lines of a request that was answered, and of one that was not.
  std::vector<WideText> answered(const std::string& request, const std::vector<WideText>& outcome) const {
    std::vector<WideText> lines = {L"Stored cache to persistent file: " + cachePath(L"bbs.cache"),
                                   requestLine(0, "No error", request)};
    lines.insert(lines.end(), outcome.begin(), outcome.end());
    return lines;
  }
  std::vector<WideText> failed(const std::string& request, int code, const std::string& error,
                               const std::string& received) const {
    return {requestLine(code, error, request), kNoBody + toWide(received)};
  }

  // Has the next host ask, and be answered. Returns what it asked, which is the same each time.
  std::string expectNextWorks() {
    const std::vector<WideText> lines = ask(Answer::respond(200, kAnswer));
    std::string request = server.requests().back().body;
    EXPECT_THAT(lines, ElementsAreArray(answered(request, kDelivered)));
    recorded_ = {kAnswer};
    EXPECT_EQ(cachedAnswers(), recorded_);
    return request;
  }

  // Checks the lines of a request that failed, and everything after it.
  void expectFailure(const std::vector<WideText>& lines, int code, const std::string& error,
                     const std::string& received = {}) {
    EXPECT_EQ(cachedAnswers(), recorded_) << "it was recorded";
    expectNothingLeft();
    EXPECT_THAT(lines, ElementsAreArray(failed(expectNextWorks(), code, error, received)));
  }

  // Checks the lines of a request that was answered, and everything after it.
  void expectSuccess(const std::vector<WideText>& lines, const std::string& received,
                     const std::vector<WideText>& outcome) {
    EXPECT_THAT(cachedAnswers(), ElementsAre(received));
    expectNothingLeft();
    EXPECT_THAT(lines, ElementsAreArray(answered(expectNextWorks(), outcome)));
  }

  // An answer that arrives, and what is said of it after the request's own line.
  struct Received {
    const char* name;
    Answer answer;
    std::string body;
    std::vector<WideText> outcome;
  };

  void expectSuccesses(const std::vector<Received>& table) {
    for (const Received& row : table) {
      SCOPED_TRACE(row.name);
      const std::size_t before = server.requests().size();
      expectSuccess(ask(row.answer), row.body, row.outcome);
      EXPECT_THAT(server.requests(), SizeIs(before + 2)) << "a redirect was followed";
      EXPECT_EQ(network.refused(), 0u);
    }
  }

  // An answer that does not, how its transfer ends, and as much of it as came.
  struct Failed {
    const char* name;
    Answer answer;
    int code;
    std::string error;
    std::string received = {};
  };

  void expectFailures(const std::vector<Failed>& table) {
    for (const Failed& row : table) {
      SCOPED_TRACE(row.name);
      expectFailure(ask(row.answer), row.code, row.error, row.received);
    }
  }

 private:
  std::vector<std::string> recorded_;  // in the cache file, before the request that is looked at
};

// ---- Transfers that succeed, whatever they bring.

TEST_F(ConfigurationTest, RecordsWhatComesWithASuccessAndFollowsNothing) {
  expectSuccesses(
      {{"HTML",
        Answer::respond(200, "<html></html>"),
        "<html></html>",
        {L"OnResponse parse error: * Line 1, Column 1\n  Syntax error: value, object or array expected.\n"
         L", body: <html></html>"}},
       {"no content", Answer::respond(204), "", {kNoBody}},
       {"301", Answer::redirect(301, "https://localhost:18443/new"), "", {kNoBody}},
       {"302", Answer::redirect(302, "https://localhost:18443/new"), "", {kNoBody}},
       {"307", Answer::redirect(307, "https://localhost:18443/new"), "", {kNoBody}},
       {"redirect to itself", Answer::redirect(302, "https://localhost:18443/configs/pc/post"), "", {kNoBody}},
       {"redirect to plain HTTP", Answer::redirect(302, "http://localhost:18443/new"), "", {kNoBody}},
       {"redirect to another scheme", Answer::redirect(302, "ftp://localhost/new"), "", {kNoBody}}});
}

TEST_F(ConfigurationTest, TakesAnyFormOfLength) {
  expectSuccesses({{"too short",
                    Answer::respond(200, kAnswer).declareLength(36),
                    kAnswer.substr(0, 36),
                    {L"OnResponse parse error: * Line 1, Column 37\n  Missing ',' or '}' in object declaration\n"
                     L", body: {\"configs\":{\"zu_plugin_update\":\"{}\"}"}},
                   {"missing", Answer::respond(200, kAnswer).withoutLength(), kAnswer, kDelivered},
                   // Nothing tells it from a whole one.
                   {"missing, and cut halfway",
                    Answer::respond(200, kAnswer).withoutLength().cutAfter(18),
                    kAnswer.substr(0, 18),
                    {L"OnResponse parse error: * Line 1, Column 13\n  Missing '}' or object member name\n"
                     L", body: {\"configs\":{\"zu_pl"}},
                   {"chunked", Answer::respond(200, kAnswer).chunked(), kAnswer, kDelivered},
                   {"1 MiB", Answer::respond(200, kMebibyte), kMebibyte, kDelivered},
                   {"1 MiB in chunks", Answer::respond(200, kMebibyte).chunked(), kMebibyte, kDelivered}});
}

// ---- Transfers that fail.

TEST_F(ConfigurationTest, FailsOnAnErrorStatus) {
  expectFailures({{"400", Answer::respond(400, kAnswer), 22, "The requested URL returned error: 400"},
                  {"404", Answer::respond(404, kAnswer), 22, "The requested URL returned error: 404"},
                  {"500", Answer::respond(500, kAnswer), 22, "The requested URL returned error: 500"},
                  {"503", Answer::respond(503, kAnswer), 22, "The requested URL returned error: 503"}});
}

TEST_F(ConfigurationTest, FailsOnABodyThatEndsEarly) {
  expectFailures({{"cut at once", Answer::respond(200, kAnswer).cutAfter(0), 18,
                   "transfer closed with 37 bytes remaining to read"},
                  {"cut after 1 byte", Answer::respond(200, kAnswer).cutAfter(1), 18,
                   "transfer closed with 36 bytes remaining to read", kAnswer.substr(0, 1)},
                  {"cut halfway", Answer::respond(200, kAnswer).cutAfter(18), 18,
                   "transfer closed with 19 bytes remaining to read", kAnswer.substr(0, 18)},
                  {"cut before the last byte", Answer::respond(200, kAnswer).cutAfter(36), 18,
                   "transfer closed with 1 bytes remaining to read", kAnswer.substr(0, 36)},
                  {"closed halfway", Answer::respond(200, kAnswer).closeAfter(18), 18,
                   "transfer closed with 19 bytes remaining to read", kAnswer.substr(0, 18)},
                  {"chunks cut halfway", Answer::respond(200, kAnswer).chunked().cutAfter(18), 18,
                   "transfer closed with outstanding read data remaining", kAnswer.substr(0, 18)},
                  {"too long a length", Answer::respond(200, kAnswer).declareLength(38), 18,
                   "transfer closed with 1 bytes remaining to read", kAnswer}});
}

// How much of it has come by then depends on the pieces in which it comes.
TEST_F(ConfigurationTest, GivesUpBeyondOneMebibyte) {
  const std::string body = kMebibyte + ' ';
  for (const Answer& answer : {Answer::respond(200, body), Answer(Answer::respond(200, body).withoutLength()),
                               Answer(Answer::respond(200, body).chunked())}) {
    const std::vector<WideText> lines = ask(answer);
    ASSERT_THAT(lines, SizeIs(2));
    const std::size_t received = lines[1].size() - kNoBody.size();
    EXPECT_LE(received, 1'048'576u);
    EXPECT_GT(received, 1'048'576u - 16'384u);
    expectFailure(lines, 23, "Failure writing output to destination", body.substr(0, received));
  }
}

// ---- Peers that are not the service.

TEST_F(ConfigurationTest, TellsAStrangerNothing) {
  struct Row {
    const char* name;
    TestServerOptions options;
    bool isTrusted;
    std::string error;
  };
  for (const Row& row : std::initializer_list<Row>{
           {"unknown root", {}, false, "SSL certificate problem: unable to get local issuer certificate"},
           {"another name",
            {.names = {"other.example"}},
            true,
            "SSL: no alternative certificate subject name matches target host name 'localhost'"},
           {"expired", {.expired = true}, true, "SSL certificate problem: certificate has expired"}}) {
    SCOPED_TRACE(row.name);
    const Peer peer(row.options, row.isTrusted);
    expectFailure(askAt(peer.server.port()), 60, row.error);
    EXPECT_EQ(peer.server.connections(), 1u);
    EXPECT_THAT(peer.server.requests(), IsEmpty());
  }
}

TEST_F(ConfigurationTest, FailsWithoutAConnectionOrTls) {
  {
    SCOPED_TRACE("nobody listens");
    std::vector<WideText> lines;
    {
      const TransferClock clock(module);
      lines = askAt(deadPort());
    }
    expectFailure(lines, 7, "Failed to connect to localhost port 18443 after 0 ms: Couldn't connect to server");
  }
  {
    SCOPED_TRACE("the peer hangs up");
    server.answerWithoutTls("");
    expectFailure(live(L"DoFetchJob "), 35, "OpenSSL SSL_connect: SSL_ERROR_SYSCALL in connection to localhost:18443 ");
  }
  {
    SCOPED_TRACE("the peer speaks plain HTTP");
    server.answerWithoutTls("HTTP/1.1 200 OK\r\n\r\n");
    expectFailure(live(L"DoFetchJob "), 35,
                  "OpenSSL/" OPENSSL_VERSION_STR ": error:0A00010B:SSL routines::wrong version number");
  }
}

// ---- Servers that take their time.

class SlowConfigurationTest : public ConfigurationTest {
 protected:
  // Lets 59.999 seconds pass for a request that has come, and one millisecond more.
  std::vector<WideText> waitFor60Seconds(Answer answer) {
    TransferClock clock(module);
    const std::size_t before = server.requests().size();
    expectPost(std::move(answer));
    begin();
    EXPECT_TRUE(server.waitForRequests(before + 1));
    for (const auto time : {5'000ms, 10'000ms, 20'000ms, 30'000ms, 40'000ms, 50'000ms, 59'999ms}) {
      clock.set(time);
      clock.waitForLook();
    }
    EXPECT_THAT(log.messages(), Not(Contains(WideStartsWith(std::wstring(L"DoFetchJob ")))));
    clock.set(60'000ms);
    return end(L"DoFetchJob ");
  }
};

TEST_F(SlowConfigurationTest, IsWaitedForFor60Seconds) {
  expectFailure(waitFor60Seconds(Answer::respond(200, kAnswer).stallBeforeHeaders()), 28,
                "Operation timed out after 60000 milliseconds with 0 bytes received");
  expectFailure(waitFor60Seconds(Answer::respond(200, kAnswer).stallAfter(0)), 28,
                "Operation timed out after 60000 milliseconds with 0 out of 37 bytes received");
}

TEST_F(SlowConfigurationTest, IsHeardOutAtOneByteASecond) {
  std::vector<WideText> lines;
  {
    TransferClock clock(module);
    clock.moveWithEachByte(1s);
    lines = ask(Answer::respond(200, kAnswer).drip(19));
    EXPECT_EQ(clock.passed(), 37s);
  }
  expectSuccess(lines, kAnswer, kDelivered);
}

}  // namespace
}  // namespace zuvia::test
