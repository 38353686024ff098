// How long transfers of the plugin that ships wait for a server, by the clock on the wall: what libcurl makes of the
// limits that it is given. One process each, because they take their time.

#include "integration/network/NetworkTest.h"

#include <chrono>

namespace zuvia::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::Le;
using Seconds = std::chrono::duration<double>;
using WallClock = std::chrono::steady_clock;

const std::string kPath = "/zuimpl-2.0.0.47.7z";

// The decimal number after this part of a text; 0: there is none.
unsigned long numberAfter(const std::wstring& text, const std::wstring& part) {
  const std::size_t place = text.find(part);
  return place == std::wstring::npos ? 0 : std::wcstoul(text.c_str() + place + part.size(), nullptr, 10);
}

class LimitsTest : public NetworkTest {
 protected:
  // Lets a session try to download the package from `peer`. Returns its lines.
  std::vector<WideText> download() {
    offer.url = peer.server.url(kPath);
    serveEntry(offer.entry());
    begin();
    EXPECT_TRUE(log.waitForStart(L"Try download plugin "));
    started_ = WallClock::now();
    EXPECT_TRUE(log.waitForStart(L"Download fail! ", 60'000));
    ended_ = WallClock::now();
    return end(L"Try download plugin ");
  }

  // How long the last download took from its beginning, and from its request.
  double secondsTaken() const { return Seconds(ended_ - started_).count(); }
  double secondsWaited() const { return Seconds(ended_ - peer.server.requests().at(0).time).count(); }

  // The lines of a download that failed.
  auto failure(const std::wstring& error, int status, int received) const {
    return ElementsAre(L"Try download plugin ver: 2.0.0.47, url:  " + toWide(offer.url),
                       L"Download fail! path: " + packagePath + L", curl code: 28, msg: " + error + L", http code: " +
                           std::to_wstring(status) + L", received bytes: " + std::to_wstring(received) +
                           L", write succeeded: true, url: " + toWide(offer.url),
                       L"Download fail!");
  }

  // Nothing is left of a download, and the next one succeeds.
  void expectNextWorks() {
    expectNothingLeft();
    peer.server.expect("GET", kPath, Answer::respond(200, offer.package));
    serveEntry(offer.entry());
    begin();
    EXPECT_NE(waitForEvent("pluginUpgradeEvent=2.0.0.47"), 0u);
    end(L"Try download plugin ");
    expectNothingLeft();
  }

  Peer peer;

 private:
  WallClock::time_point started_;
  WallClock::time_point ended_;
};

TEST_F(LimitsTest, ADownloadWithoutAnAnswer) {
  peer.server.expect("GET", kPath, Answer::respond(200, offer.package).stallBeforeHeaders());
  const std::vector<WideText> lines = download();
  EXPECT_THAT(secondsWaited(), AllOf(Ge(6.0), Le(11.0)));
  EXPECT_THAT(lines, failure(L"Operation too slow. Less than 1 bytes/sec transferred the last 6 seconds", 0, 0));
  expectNextWorks();
}

// libcurl judges the speed by up to 5 seconds: these bytes count for 3, and any that came fast for 5, before the 6
// begin.
TEST_F(LimitsTest, ADownloadThatStalls) {
  peer.server.expect("GET", kPath, Answer::respond(200, offer.package).stallAfter(3));
  const std::vector<WideText> lines = download();
  EXPECT_THAT(secondsWaited(), AllOf(Ge(6.0), Le(11.0)));
  EXPECT_THAT(lines, failure(L"Operation too slow. Less than 1 bytes/sec transferred the last 6 seconds", 200, 3));
  expectNextWorks();
}

TEST_F(LimitsTest, ADownloadFromAPeerThatNeverSpeaksTls) {
  peer.server.acceptInSilence();
  const std::vector<WideText> lines = download();
  EXPECT_THAT(secondsTaken(), AllOf(Ge(29.5), Le(35.0)));
  EXPECT_THAT(lines, failure(L"SSL connection timeout", 0, 0));
  expectNextWorks();
}

// Its only limit is the one of the whole request.
TEST_F(LimitsTest, AConfigurationRequestToAPeerThatNeverSpeaksTls) {
  server.acceptInSilence();
  begin();
  const WallClock::time_point start = WallClock::now();
  const std::vector<WideText> lines = end(L"DoFetchJob ", 90'000);
  EXPECT_THAT(Seconds(WallClock::now() - start).count(), AllOf(Ge(59.5), Le(65.0)));
  EXPECT_THAT(cachedAnswers(), testing::IsEmpty());
  expectNothingLeft();

  offer.url = peer.server.url(kPath);
  expectNextWorks();
  const std::string request = server.requests().back().body;
  ASSERT_EQ(lines.size(), 2u);
  const unsigned long milliseconds = numberAfter(lines[0], L"timed out after ");
  EXPECT_THAT(milliseconds, AllOf(Ge(60'000u), Le(65'000u)));
  const std::string error = "Connection timed out after " + std::to_string(milliseconds) + " milliseconds";
  EXPECT_THAT(lines, ElementsAre(requestLine(28, error, request), L"onFetch fail key: zu_plugin_update, body: "));
}

}  // namespace
}  // namespace zuvia::test
