// Where time decides, the shipped plugin is told a time of the test's: exactly at the limit, one below, one above.
// How long the plugin asks the system to wait for each of its mutexes is looked at where these mutexes fail.

#include <json/json.h>

#include <chrono>
#include <sstream>
#include <vector>

#include "integration/faults/FaultsTest.h"

namespace zuvia::test {
namespace {

using namespace std::chrono_literals;

constexpr Clock::Ticks kTick{1};
constexpr auto kTwoTo32 = std::chrono::seconds(1LL << 32);

// The service has nothing to offer. Each load makes a client that has not fetched yet.
class TimingTest : public FaultsTest {
 protected:
  TimingTest() {
    addVersion(L"2.0.0.45");
    server.serve("POST", "/configs/pc/post", Answer::respond(200, answerWith("{}")));
  }

  // From the loading to the unloading, all at this time since 1970. Returns the first words of the fetch, which are
  // about the cache file when there was an answer; "" when there was no fetch. Far from today no certificate is valid.
  std::wstring liveAt(Clock::Ticks time) {
    clock.set(kBeginningOf1970 + time);
    entry().onLoaded(nullptr);
    log.clear();
    if (isSubmitted()) {
      EXPECT_TRUE(waitUntil([this] { return threadOf("BssConfig::DoFetchJob") != 0; }));
    }
    entry().onUnload();
    const Lines fetch = otherLines();
    return fetch.empty() ? L"" : fetch.front().message;
  }

  // When the only entry of the cache file was made, in milliseconds since 1970.
  std::int64_t storedMilliseconds() const {
    Json::Value document;
    std::istringstream(readFile(cachePath(L"bbs.cache"))) >> document;
    EXPECT_EQ(document["entries"].size(), 1u);
    return document["entries"][0]["timestamp_ms"].asInt64();
  }

  const std::wstring written = L"Stored cache to persistent file: " + cachePath(L"bbs.cache");
  const std::wstring ignored = L"Stored cache too fastest, just ignore! ";

 private:
  // Sends the host information. Returns whether a fetch was submitted.
  bool isSubmitted() {
    const RecordedImport<decltype(SubmitThreadpoolWork), PTP_WORK> submitted(module, "SubmitThreadpoolWork",
                                                                             [](PTP_WORK work) { return work; });
    EXPECT_EQ(send("setHostInfo", hostInformation()), "0");
    return !submitted.records().empty();
  }

  Clock clock{module};
};

// A client that has never fetched counts as one that did at the beginning of 1970. Its seconds have 32 bits.
TEST_F(TimingTest, FetchesNotBefore61SecondsHavePassed) {
  const std::vector<Clock::Ticks> early = {0s, 59s, 60s, 61s - kTick, kTwoTo32, kTwoTo32 + 60s, kTwoTo32 + 61s - kTick};
  for (const Clock::Ticks time : early) EXPECT_EQ(liveAt(time), L"") << time.count();

  const std::vector<Clock::Ticks> due = {61s, 62s, kTwoTo32 - 1s, kTwoTo32 + 61s};
  for (const Clock::Ticks time : due) {
    EXPECT_THAT(liveAt(time), WideStartsWith(std::wstring(L"DoFetchJob "))) << time.count();
  }
}

TEST_F(TimingTest, WritesTheCacheFileNotBefore30SecondsHavePassed) {
  const Clock::Ticks start = std::chrono::seconds(1'800'000'000);
  const auto expectWritten = [&](Clock::Ticks time) {
    EXPECT_EQ(liveAt(time), written) << (time - start).count();
    EXPECT_EQ(storedMilliseconds(), time.count() / 10'000);
  };
  const auto expectIgnored = [&](Clock::Ticks time) {
    const std::string before = readFile(cachePath(L"bbs.cache"));
    EXPECT_EQ(liveAt(time), ignored) << (time - start).count();
    EXPECT_EQ(readFile(cachePath(L"bbs.cache")), before);
  };
  expectWritten(start);  // the first one always
  expectIgnored(start);
  expectIgnored(start + 29s);
  expectIgnored(start + 30s - kTick);
  expectWritten(start + 30s);
  expectIgnored(start + 59s);
  expectWritten(start + 61s);
  expectIgnored(start);  // the clock was put back
  expectWritten(start + 91s + 12345 * kTick);
}

}  // namespace
}  // namespace zuvia::test
