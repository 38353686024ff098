#pragma once

#include <string>
#include <vector>

#include "integration/PluginTest.h"
#include "support/Clock.h"
#include "support/Files.h"

namespace zuvia::test {

// An answer of the configuration service, and what comes of it.
struct AnswerRow {
  std::string name;
  std::string body;
  std::vector<WideText> lines;  // of the fetch, after the one about the exchange
  std::string cached = {};      // the answer as the cache file spells it, in JSON; "": as jsonText() does
};

// A text without control characters, and without any outside ASCII, as a JSON string.
std::string jsonText(const std::string& text);

// The plugin that ships with a service that answers what it is told to. Whatever the answer is, the running version
// stays, the exchange is in the cache file, nothing else is changed or raised, and the next fetch works.
class AnsweredTest : public PluginTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  // For each row: has the service answer, and looks at the lines and the cache. In the end it answers as it should.
  void expectAnswers(const std::vector<AnswerRow>& rows);

  // One life of the plugin, from load to unload, with one fetch in it.
  // Returns what was logged on the fetching thread.
  std::vector<WideText> live(const std::string& answer);

 private:
  void expectAnswer(const AnswerRow& row);
  void expectOneCacheEntry(const std::string& response);

  Clock clock_{module};
  TreeListing before_;
  std::size_t fetches_ = 0;
};

}  // namespace zuvia::test
