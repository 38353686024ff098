#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <json/reader.h>

#include "ConfigService.h"
#include "FakeClock.h"
#include "FetchTest.h"
#include "config/ZuUpdateConfig.h"
#include "support/HandleCount.h"
#include "support/ImportHook.h"
#include "updater/ZuDllUpdater.h"

namespace zuvia {
namespace {

using test::Answer;
using test::ConfigService;
using test::Delivery;
using test::ImportHook;
using test::Journal;
using test::kAnswer;
using test::kProductionUrl;
using test::kTestUrl;
using test::LogLine;
using test::MutexState;
using test::Request;
using test::WideText;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

const std::wstring kDelivered = L"onFetch success key: the_key, value: the value";
const Delivery kDelivery = {true, "the value", false};

class BssConfigFetch : public test::FetchTest {
 protected:
  // Makes one fetch that the service answers so.
  void fetch(Answer answer) {
    service.expectPost(std::move(answer));
    client.DoFetchJob();
  }

  std::wstring storedLine() const { return L"Stored cache to persistent file: " + cachePath(); }

  ConfigService service;
};

// ---- What is asked.

TEST_F(BssConfigFetch, PostsToTheProductionService) {
  fetch(Answer::respond(200, kAnswer));
  ASSERT_THAT(service.server.requests(), SizeIs(1));
  const Request request = service.server.requests().front();
  EXPECT_TRUE(request.tls);
  EXPECT_EQ(request.body, body());
  EXPECT_THAT(request.headers,
              ElementsAre(Pair("Host", "config.zuvia.example"), Pair("Accept", "*/*"),
                          Pair("Content-Type", "application/json;charset=UTF-8"), Pair("uid", "1234567890123"),
                          Pair("sid", "0"), Pair("ssid", "0"), Pair("Content-Length", std::to_string(body().size()))));
}

TEST_F(BssConfigFetch, PostsToTheTestServiceWhenTheHostSaysSo) {
  hostInfo().testEnv = true;
  fetch(Answer::respond(200, kAnswer));
  ASSERT_THAT(service.server.requests(), SizeIs(1));
  const Request request = service.server.requests().front();
  EXPECT_TRUE(request.tls);
  EXPECT_EQ(request.header("Host"), "localhost:18443");
  EXPECT_EQ(request.body, body());
  EXPECT_THAT(log.messages(), ElementsAre(storedLine(), transferLine(0, "No error", kTestUrl), kDelivered));
  EXPECT_THAT(client.deliveries(), ElementsAre(kDelivery));
}

TEST_F(BssConfigFetch, AsksEachTimeWhichServiceItIs) {
  fetch(Answer::respond(200, kAnswer));
  hostInfo().testEnv = true;
  fetch(Answer::respond(200, kAnswer));
  ASSERT_THAT(service.server.requests(), SizeIs(2));
  EXPECT_EQ(service.server.requests().front().header("Host"), "config.zuvia.example");
  EXPECT_EQ(service.server.requests().back().header("Host"), "localhost:18443");
}

TEST_F(BssConfigFetch, CarriesTheClientsOwnVersionInsteadOfTheHosts) {
  client.setClientVersion("2.0.0");
  fetch(Answer::respond(200, kAnswer));
  EXPECT_EQ(service.server.requests().back().body, body("2.0.0"));
}

TEST_F(BssConfigFetch, CarriesTheHostsVersionOfTheMoment) {
  hostInfo().hostVersion = "10.0";
  fetch(Answer::respond(200, kAnswer));
  EXPECT_EQ(service.server.requests().back().body, body("10.0"));
}

TEST_F(BssConfigFetch, CarriesItsExtendInfo) {
  client.SetExtendInfo("hostver", "1");
  client.SetExtendInfo("hitseq", "abc");
  client.SetExtendInfo("hostver", "9.8.7");
  fetch(Answer::respond(200, kAnswer));
  EXPECT_EQ(service.server.requests().back().body, body("9.8.7", R"("hitseq":"abc","hostver":"9.8.7",)"));
}

TEST_F(BssConfigFetch, LetsExtendInfoReplaceTheUserIdInTheBodyOnly) {
  client.SetExtendInfo("zuuid", "7");
  fetch(Answer::respond(200, kAnswer));
  const Request request = service.server.requests().back();
  EXPECT_THAT(request.body, testing::HasSubstr(R"("extendInfo":{"zuuid":"7"},)"));
  EXPECT_EQ(request.header("uid"), "1234567890123");
}

TEST_F(BssConfigFetch, TakesEveryStepInOrder) {
  const test::CurlMutexWatch mutex;
  const ImportHook<decltype(_wfopen)> writing(self(), "_wfopen",
                                              [this](auto* original, const wchar_t* path, const wchar_t* mode) {
                                                if (path == cachePath()) Journal::instance().add("cache written");
                                                return original(path, mode);
                                              });
  client.inOnFetch = [] { Journal::instance().add("onFetch"); };
  fetch(Answer::respond(200, kAnswer));
  EXPECT_THAT(
      journal(),
      ElementsAre("mutex opened", "mutex waited for 60000", "curl_global_init 3", "curl_easy_init",
                  std::string("URL ") + kProductionUrl, "PROTOCOLS 2", "REDIR_PROTOCOLS 2", "SSL_VERIFYPEER 1",
                  "SSL_VERIFYHOST 2", "SSL_OPTIONS 16", "FAILONERROR 1", "POSTFIELDS " + body(),
                  "POSTFIELDSIZE " + std::to_string(body().size()),
                  "HTTPHEADER Content-Type: application/json;charset=UTF-8 | uid: 1234567890123 | sid: 0 | ssid: 0",
                  "ERRORBUFFER", "WRITEFUNCTION", "WRITEDATA", "TIMEOUT 60", "curl_easy_perform", "curl_slist_free_all",
                  "cache written", "curl_easy_cleanup", "mutex released", "mutex closed", "onFetch"));
}

TEST_F(BssConfigFetch, InitialisesLibcurlOnce) {
  fetch(Answer::respond(200, kAnswer));
  Journal::instance().clear();
  fetch(Answer::respond(200, kAnswer));
  EXPECT_THAT(journal(), Each(testing::Not(testing::StartsWith("curl_global_init"))));
  EXPECT_THAT(client.deliveries(), ElementsAre(kDelivery, kDelivery));
}

// ---- What comes of an answer.

TEST_F(BssConfigFetch, DeliversTheValueAndSaysSo) {
  fetch(Answer::respond(200, kAnswer));
  EXPECT_THAT(client.deliveries(), ElementsAre(kDelivery));
  EXPECT_THAT(log.messages(), ElementsAre(storedLine(), transferLine(0, "No error", kProductionUrl), kDelivered));
  const LogLine line = log.lines()[1];
  EXPECT_EQ(line.level, 1);
  EXPECT_EQ(line.className, "BssConfig");
  EXPECT_EQ(line.sourceFile, "..\\common\\config\\BssConfig");
  EXPECT_EQ(line.functionName, "BssConfig::DoFetchJob");
}

TEST_F(BssConfigFetch, RecordsTheExchange) {
  // A time at which the service's certificate is valid, in whole seconds and a bit.
  const int64_t seconds =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
  const test::FakeClock clock(seconds * test::FakeClock::kSecond + 1'239'999);
  fetch(Answer::respond(200, kAnswer));
  Json::Value entry;
  entry["key_url"] = kProductionUrl;
  entry["key_post_body"] = body();
  entry["key_headers"].append("uid: 1234567890123");
  entry["response_data"] = kAnswer;
  entry["timestamp_ms"] = Json::Int64(seconds * 1000 + 123);
  Json::Value document;
  document["entries"].append(entry);
  std::istringstream content(cacheContent());
  Json::Value stored;
  content >> stored;
  EXPECT_EQ(stored, document);
}

TEST_F(BssConfigFetch, HoldsTheMutexDuringTheTransferOnly) {
  std::vector<MutexState> states;
  const ImportHook<decltype(_wfopen)> storing(self(), "_wfopen",
                                              [&](auto* original, const wchar_t* path, const wchar_t* mode) {
                                                if (path == cachePath()) states.push_back(curlMutex());
                                                return original(path, mode);
                                              });
  client.inOnFetch = [&] { states.push_back(curlMutex()); };
  fetch(Answer::respond(200, kAnswer));
  EXPECT_THAT(states, ElementsAre(MutexState::Taken, MutexState::Missing));
  EXPECT_EQ(curlMutex(), MutexState::Missing);
}

// The server runs in this process, too, and a lock that was contended for the first time keeps an event: what
// is counted is what every fetch would leave.
TEST_F(BssConfigFetch, LeavesNothingOpen) {
  constexpr size_t kFetches = 8;
  fetch(Answer::respond(200, kAnswer));
  const test::HandleCount before = test::countHandles();
  for (size_t i = 0; i < kFetches; ++i) fetch(Answer::respond(i % 2 == 0 ? 200 : 404, kAnswer));
  for (const auto& [type, count] : test::countHandles()) {
    const auto earlier = before.find(type);
    EXPECT_LT(count, (earlier == before.end() ? 0 : earlier->second) + kFetches) << type;
  }
}

TEST_F(BssConfigFetch, RunsOnAThreadOfThePoolWhenItIsRequested) {
  service.expectPost(Answer::respond(200, kAnswer));
  client.RequestFetch();
  ASSERT_TRUE(log.waitFor(kDelivered));
  EXPECT_NE(log.lines().back().threadId, GetCurrentThreadId());
  EXPECT_THAT(client.deliveries(), ElementsAre(kDelivery));
}

TEST_F(BssConfigFetch, EndsBeforeTheClientDoes) {
  service.expectPost(Answer::respond(200, kAnswer).drip(100));
  {
    test::RecordingClient ending;
    ending.RequestFetch();
    ASSERT_TRUE(service.server.waitForRequests(1));
  }
  EXPECT_THAT(log.messages(), ElementsAre(storedLine(), transferLine(0, "No error", kProductionUrl), kDelivered));
}

TEST_F(BssConfigFetch, BringsTheUpdateEntryToTheUpdater) {
  ZuDllUpdater updater(5);
  ZuUpdateConfig config(5);
  config.setUpdater(&updater);
  service.expectPost(Answer::respond(200, R"({"configs":{"zu_plugin_update":"{\"ver\":\"9.9.9.9\",\"pmd5\":\"aa\",)"
                                          R"(\"dmd5\":\"bb\",\"url\":\"http://x/y\"}"}})"));
  config.DoFetchJob();
  EXPECT_THAT(service.server.requests().back().body, testing::StartsWith(R"({"bssCode":"zu_kx_anchor",)"));
  EXPECT_EQ(service.server.requests().back().header("uid"), "5");
  const std::vector<WideText> messages = log.messages();
  ASSERT_EQ(messages.size(), 5U);
  EXPECT_EQ(messages[2], L"Fetch ZuUpdateConfig success str: [ver: 9.9.9.9, pmd5: aa, dmd5:bb, url: http://x/y]");
  EXPECT_EQ(messages[3], L"Update plugin fail! HTTPS is required: http://x/y");
  EXPECT_EQ(
      messages[4],
      LR"(onFetch success key: zu_plugin_update, value: {"ver":"9.9.9.9","pmd5":"aa","dmd5":"bb","url":"http://x/y"})");
}

// ---- How much is taken.

constexpr size_t kMostBytes = 1'048'576;

std::string answerOf(size_t size) {
  std::string text = kAnswer;
  text.resize(size, ' ');
  return text;
}

TEST_F(BssConfigFetch, TakesAnAnswerOfOneMebibyte) {
  fetch(Answer::respond(200, answerOf(kMostBytes)));
  EXPECT_THAT(client.deliveries(), ElementsAre(kDelivery));
}

TEST_F(BssConfigFetch, TakesAnAnswerOfOneMebibyteInChunks) {
  fetch(Answer::respond(200, answerOf(kMostBytes)).chunked());
  EXPECT_THAT(client.deliveries(), ElementsAre(kDelivery));
}

class BssConfigOversize : public BssConfigFetch {
 protected:
  void expectAbortion(Answer answer) {
    fetch(std::move(answer));
    EXPECT_THAT(client.deliveries(), IsEmpty());
    const std::vector<WideText> messages = log.messages();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0], transferLine(CURLE_WRITE_ERROR, "Failure writing output to destination", kProductionUrl));
    const std::wstring_view start = L"onFetch fail key: the_key, body: ";
    EXPECT_EQ(messages[1].substr(0, start.size()), start);
    EXPECT_LE(messages[1].size() - start.size(), kMostBytes);
    EXPECT_EQ(cacheContent(), "");
    EXPECT_EQ(curlMutex(), MutexState::Missing);
  }
};

TEST_F(BssConfigOversize, AbortsAtOneByteMore) {
  expectAbortion(Answer::respond(200, answerOf(kMostBytes + 1)));
}

TEST_F(BssConfigOversize, AbortsAtOneByteMoreInChunks) {
  expectAbortion(Answer::respond(200, answerOf(kMostBytes + 1)).chunked());
}

TEST_F(BssConfigOversize, AbortsAtOneByteMoreWithoutALength) {
  expectAbortion(Answer::respond(200, answerOf(kMostBytes + 1)).withoutLength());
}

TEST_F(BssConfigOversize, AbortsAnAnswerOf64Mebibytes) {
  expectAbortion(Answer::oversize(64 * kMostBytes));
}

// ---- Transfers that succeed with an answer of no use.

struct Useless {
  std::string name;
  std::function<Answer()> answer;
  std::string content;  // of the cache entry
  std::wstring message;

  friend void PrintTo(const Useless& useless, std::ostream* stream) { *stream << useless.name; }
};

class BssConfigUselessAnswer : public BssConfigFetch, public testing::WithParamInterface<Useless> {};

TEST_P(BssConfigUselessAnswer, IsRecordedAndRefused) {
  fetch(GetParam().answer());
  EXPECT_THAT(client.deliveries(), IsEmpty());
  EXPECT_THAT(log.messages(),
              ElementsAre(storedLine(), transferLine(0, "No error", kProductionUrl), GetParam().message));
  std::istringstream content(cacheContent());
  Json::Value stored;
  content >> stored;
  EXPECT_EQ(stored["entries"][0]["response_data"].asString(), GetParam().content);
  EXPECT_THAT(service.server.requests(), SizeIs(1));
}

const std::wstring kNotJson =
    L"OnResponse parse error: * Line 1, Column 1\n"
    L"  Syntax error: value, object or array expected.\n, body: ";
const std::wstring kNoBody = L"onFetch fail key: the_key, body: ";

INSTANTIATE_TEST_SUITE_P(
    Answers, BssConfigUselessAnswer,
    testing::Values(Useless{"Html", [] { return Answer::respond(200, "<html></html>"); }, "<html></html>",
                            kNotJson + L"<html></html>"},
                    Useless{"Empty", [] { return Answer::respond(200); }, "", kNoBody},
                    Useless{"NoContent", [] { return Answer::respond(204); }, "", kNoBody},
                    Useless{"MovedPermanently", [] { return Answer::redirect(301, kProductionUrl); }, "", kNoBody},
                    Useless{"Found", [] { return Answer::redirect(302, kProductionUrl); }, "", kNoBody},
                    Useless{"TemporaryRedirect", [] { return Answer::redirect(307, kProductionUrl); }, "", kNoBody},
                    Useless{"RedirectToPlainHttp", [] { return Answer::redirect(302, "http://config.zuvia.example/"); },
                            "", kNoBody},
                    Useless{
                        "TooShortALength", [] { return Answer::respond(200, kAnswer).declareLength(1); }, "{",
                        L"OnResponse parse error: * Line 1, Column 2\n  Missing '}' or object member name\n, body: {"}),
    [](const auto& test) { return test.param.name; });

// ---- Answers that come in odd ways.

TEST_F(BssConfigFetch, TakesAnAnswerWithoutALength) {
  fetch(Answer::respond(200, kAnswer).withoutLength());
  EXPECT_THAT(client.deliveries(), ElementsAre(kDelivery));
}

TEST_F(BssConfigFetch, TakesAnAnswerByteByByte) {
  fetch(Answer::respond(200, kAnswer).drip(19));
  EXPECT_THAT(client.deliveries(), ElementsAre(kDelivery));
}

// ---- Transfers that fail.

struct Fault {
  std::string name;
  std::function<Answer()> answer;
  int code;
  std::string error;  // with what follows it in the line
  std::string received;

  friend void PrintTo(const Fault& fault, std::ostream* stream) { *stream << fault.name; }
};

class BssConfigFault : public BssConfigFetch, public testing::WithParamInterface<Fault> {};

TEST_P(BssConfigFault, IsLoggedAndLeavesNothingBehind) {
  fetch(GetParam().answer());
  EXPECT_THAT(client.deliveries(), IsEmpty());
  const std::vector<WideText> messages = log.messages();
  ASSERT_EQ(messages.size(), 2U);
  EXPECT_THAT(messages[0], test::WideStartsWith(lineBeforeError(GetParam().code) + test::toWide(GetParam().error)));
  EXPECT_THAT(messages[0], test::WideEndsWith(lineAfterError(kProductionUrl)));
  EXPECT_EQ(messages[1], L"onFetch fail key: the_key, body: " + test::toWide(GetParam().received));
  EXPECT_EQ(cacheContent(), "");
  EXPECT_EQ(curlMutex(), MutexState::Missing);
  fetch(Answer::respond(200, kAnswer));
  EXPECT_THAT(client.deliveries(), ElementsAre(kDelivery));
}

const std::string kWhole = kAnswer;

INSTANTIATE_TEST_SUITE_P(Status, BssConfigFault,
                         testing::Values(Fault{"BadRequest", [] { return Answer::respond(400, kAnswer); }, 22,
                                               "The requested URL returned error: 400, url: ", ""},
                                         Fault{"NotFound", [] { return Answer::respond(404, kAnswer); }, 22,
                                               "The requested URL returned error: 404, url: ", ""},
                                         Fault{"InternalError", [] { return Answer::respond(500, kAnswer); }, 22,
                                               "The requested URL returned error: 500, url: ", ""},
                                         Fault{"Unavailable", [] { return Answer::respond(503, kAnswer); }, 22,
                                               "The requested URL returned error: 503, url: ", ""}),
                         [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Body, BssConfigFault,
    testing::Values(Fault{"ClosedAtOnce", [] { return Answer::respond(200, kAnswer).closeAfter(0); }, 18,
                          "transfer closed with 35 bytes remaining to read, url: ", ""},
                    Fault{"ClosedAfterOneByte", [] { return Answer::respond(200, kAnswer).closeAfter(1); }, 18,
                          "transfer closed with 34 bytes remaining to read, url: ", kWhole.substr(0, 1)},
                    Fault{"ClosedHalfway", [] { return Answer::respond(200, kAnswer).closeAfter(17); }, 18,
                          "transfer closed with 18 bytes remaining to read, url: ", kWhole.substr(0, 17)},
                    Fault{"ClosedBeforeTheLastByte", [] { return Answer::respond(200, kAnswer).closeAfter(34); }, 18,
                          "transfer closed with 1 bytes remaining to read, url: ", kWhole.substr(0, 34)},
                    Fault{"TooLongALength", [] { return Answer::respond(200, kAnswer).declareLength(36); }, 18,
                          "transfer closed with 1 bytes remaining to read, url: ", kWhole},
                    Fault{"ChunksThatEndEarly", [] { return Answer::respond(200, kAnswer).chunked().closeAfter(17); },
                          18, "transfer closed with outstanding read data remaining, url: ", kWhole.substr(0, 17)},
                    Fault{"CutAtOnce", [] { return Answer::respond(200, kAnswer).cutAfter(0); }, 18,
                          "transfer closed with 35 bytes remaining to read, url: ", ""},
                    Fault{"CutHalfway", [] { return Answer::respond(200, kAnswer).cutAfter(17); }, 18,
                          "transfer closed with 18 bytes remaining to read, url: ", kWhole.substr(0, 17)}),
    [](const auto& test) { return test.param.name; });

// ---- Services that cannot be reached or trusted.

class BssConfigUnreachable : public test::FetchTest {
 protected:
  // Makes one fetch that fails before anything is received.
  void expectFailure(int code, const std::string& errorStart) {
    client.DoFetchJob();
    EXPECT_THAT(client.deliveries(), IsEmpty());
    const std::vector<WideText> messages = log.messages();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_THAT(messages[0], test::WideStartsWith(lineBeforeError(code) + test::toWide(errorStart)));
    EXPECT_THAT(messages[0], test::WideEndsWith(lineAfterError(kProductionUrl)));
    EXPECT_EQ(messages[1], kNoBody);
    EXPECT_EQ(cacheContent(), "");
    EXPECT_EQ(curlMutex(), MutexState::Missing);
  }
};

TEST_F(BssConfigUnreachable, IsAServiceWithAnUntrustedRoot) {
  const ConfigService service({}, false);
  expectFailure(60, "SSL certificate problem: unable to get local issuer certificate, url: ");
  EXPECT_THAT(service.server.requests(), IsEmpty());
}

TEST_F(BssConfigUnreachable, IsAServiceWithAWrongName) {
  const ConfigService service({.names = {"other.example", "localhost"}});
  expectFailure(60,
                "SSL: no alternative certificate subject name matches target host name 'config.zuvia.example', url: ");
  EXPECT_THAT(service.server.requests(), IsEmpty());
}

TEST_F(BssConfigUnreachable, IsAServiceWithAnExpiredCertificate) {
  const ConfigService service({.expired = true});
  expectFailure(60, "SSL certificate problem: certificate has expired, url: ");
  EXPECT_THAT(service.server.requests(), IsEmpty());
}

TEST_F(BssConfigUnreachable, IsAServiceWithoutAListener) {
  unsigned short port = 0;
  {
    const test::TestServer gone;
    port = gone.port();
  }
  const test::ServiceRedirection redirection(port);
  expectFailure(7, "Failed to connect to config.zuvia.example port 443 after ");
}

TEST_F(BssConfigUnreachable, IsAServiceWithoutAnAddress) {
  const ImportHook<decltype(getaddrinfo)> resolving(self(), "getaddrinfo",
                                                    [](auto*, auto...) { return WSAHOST_NOT_FOUND; });
  expectFailure(6, "Could not resolve host: config.zuvia.example, url: ");
}

// ---- How long it is waited for.

// The time that libcurl is told on this thread. It stands still until the test sets it.
class TransferClock {
 public:
  // Sets how long after the beginning it is.
  void set(std::chrono::milliseconds since) { since_ = since.count(); }

 private:
  static LONGLONG frequency() {
    LARGE_INTEGER frequency = {};
    QueryPerformanceFrequency(&frequency);
    return frequency.QuadPart;
  }

  const DWORD thread_ = GetCurrentThreadId();
  const LONGLONG ticksPerMillisecond_ = frequency() / 1000;
  std::atomic<LONGLONG> since_ = 0;
  ImportHook<decltype(QueryPerformanceCounter)> hook_{GetModuleHandleW(nullptr), "QueryPerformanceCounter",
                                                      [this](auto* original, LARGE_INTEGER* counter) -> BOOL {
                                                        if (GetCurrentThreadId() != thread_) return original(counter);
                                                        counter->QuadPart = (1'000'000 + since_) * ticksPerMillisecond_;
                                                        return TRUE;
                                                      }};
};

class BssConfigTimeout : public BssConfigFetch {
 protected:
  // Fetches while another thread lets 59.999 seconds pass, and then one millisecond more, once the transfer
  // has got as far as `reached` tells. Expects that it ends with the second step.
  void expectEndAfter60Seconds(const std::function<bool()>& reached) {
    std::atomic<bool> ended = false;
    bool endedBefore = true;
    TransferClock clock;
    std::jthread time([&] {
      while (!reached()) Sleep(5);
      clock.set(std::chrono::milliseconds(59'999));
      Sleep(1500);  // libcurl looks at least once a second
      endedBefore = ended;
      clock.set(std::chrono::milliseconds(60'000));
    });
    client.DoFetchJob();
    ended = true;
    time.join();
    EXPECT_FALSE(endedBefore);
    EXPECT_EQ(curlMutex(), MutexState::Missing);
    EXPECT_EQ(cacheContent(), "");
  }
};

TEST_F(BssConfigTimeout, EndsAnAnswerThatDoesNotCome) {
  service.expectPost(Answer::respond(200, kAnswer).stallBeforeHeaders());
  expectEndAfter60Seconds([this] { return !service.server.requests().empty(); });
  EXPECT_THAT(log.messages(),
              ElementsAre(transferLine(28, "Operation timed out after 60000 milliseconds with 0 bytes received",
                                       kProductionUrl),
                          kNoBody));
}

TEST_F(BssConfigTimeout, EndsAConnectionThatNeverSpeaksTls) {
  service.server.acceptInSilence();
  expectEndAfter60Seconds([this] { return service.server.connections() == 1; });
  EXPECT_THAT(log.messages(),
              ElementsAre(transferLine(28, "Connection timed out after 60000 milliseconds", kProductionUrl), kNoBody));
}

}  // namespace
}  // namespace zuvia
