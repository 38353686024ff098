#include "integration/answers/AnsweredTest.h"

#include <chrono>

namespace zuvia::test {

using testing::Each;
using testing::ElementsAreArray;
using testing::StartsWith;

std::string jsonText(const std::string& text) {
  std::string result = "\"";
  for (const char character : text) {
    if (character == '"' || character == '\\') result += '\\';
    result += character;
  }
  return result + '"';
}

void AnsweredTest::SetUp() {
  load();
  entry().onUnload();
  before_ = tree.list();
}

void AnsweredTest::TearDown() {
  EXPECT_THAT(events(), Each(StartsWith("pluginLoaded")));
  EXPECT_EQ(describeChanges(before_, tree.list()), "");
  EXPECT_FALSE(directoryExists(cachePath(L"update")));
  EXPECT_EQ(network.refused(), 0u);
}

void AnsweredTest::expectAnswers(const std::vector<AnswerRow>& rows) {
  const std::string good = R"({"ver":"2.0.0.44","pmd5":"aa","dmd5":"bb","url":"https://x/y"})";
  for (const AnswerRow& row : rows) expectAnswer(row);
  expectAnswer({"as it should be",
                answerWith(good),
                {L"Fetch ZuUpdateConfig success str: [ver: 2.0.0.44, pmd5: aa, dmd5:bb, url: https://x/y]",
                 L"No needed to upgrade for version: 2.0.0.44, local ver is newest!",
                 L"onFetch success key: zu_plugin_update, value: " + toWide(good)}});
}

void AnsweredTest::expectAnswer(const AnswerRow& row) {
  SCOPED_TRACE(row.name);
  const std::vector<WideText> logged = live(row.body);
  std::vector<WideText> expected = {
      L"Stored cache to persistent file: " + cachePath(L"bbs.cache"),
      L"DoFetchJob bssCode: zu_kx_anchor, ret: true, curlCode: 0, curlError: No error, url: "
      L"https://localhost:18443/configs/pc/post, body: " +
          toWide(server.requests().back().body)};
  expected.insert(expected.end(), row.lines.begin(), row.lines.end());
  EXPECT_THAT(logged, ElementsAreArray(expected));
  expectOneCacheEntry(row.cached.empty() ? jsonText(row.body) : row.cached);
}

std::vector<WideText> AnsweredTest::live(const std::string& answer) {
  clock_.advance(std::chrono::seconds(61));
  entry().onLoaded(nullptr);
  log.clear();
  server.expect("POST", "/configs/pc/post", Answer::respond(200, answer));
  EXPECT_EQ(send("setHostInfo", hostInformation()), "0");
  EXPECT_TRUE(server.waitForRequests(++fetches_));
  const unsigned long thread = threadOf(L"DoFetchJob ");
  EXPECT_STREQ(loader().getVersion(), "2.0.0.45");
  EXPECT_EQ(send("echo", "still here"), "still here");
  entry().onUnload();  // when the fetch has ended
  return messagesOf(thread);
}

void AnsweredTest::expectOneCacheEntry(const std::string& response) {
  const std::string cache = readFile(cachePath(L"bbs.cache"));
  const std::size_t first = cache.find("\"response_data\" : ");
  EXPECT_EQ(cache.rfind("\"response_data\" : "), first);
  EXPECT_THAT(cache.substr(first), StartsWith("\"response_data\" : " + response + ",\r\n"));
}

}  // namespace zuvia::test
