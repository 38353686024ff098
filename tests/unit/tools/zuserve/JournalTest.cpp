#include "zuserve/Journal.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <thread>

namespace zuvia::zuserve {
namespace {

using namespace std::chrono_literals;

constexpr auto kAtOnce = 0ms;
constexpr auto kLong = 20s;

JournalRow rowAbout(const std::string& request) {
  JournalRow row;
  row.request = request;
  return row;
}

TEST(Journal, TellsWhatIsNewOnce) {
  Journal journal;
  EXPECT_TRUE(journal.newsSince(0, kAtOnce).rows.empty());
  journal.add(rowAbout("first"));
  const Journal::Id second = journal.add(rowAbout("second"));
  const Journal::News news = journal.newsSince(0, kAtOnce);
  ASSERT_EQ(news.rows.size(), 2u);
  EXPECT_EQ(news.rows[0]["request"], "first");
  EXPECT_EQ(news.rows[1]["id"].asUInt64(), second);
  EXPECT_TRUE(journal.newsSince(news.revision, kAtOnce).rows.empty());
}

TEST(Journal, TellsOfARowThatHasChanged) {
  Journal journal;
  const Journal::Id id = journal.add(rowAbout("begins"));
  const Journal::Revision revision = journal.newsSince(0, kAtOnce).revision;
  journal.replace(id, rowAbout("ends"));
  journal.replace(id + 1, rowAbout("nobody"));
  const Journal::News news = journal.newsSince(revision, kAtOnce);
  ASSERT_EQ(news.rows.size(), 1u);
  EXPECT_EQ(news.rows[0]["id"].asUInt64(), id);
  EXPECT_EQ(news.rows[0]["request"], "ends");
}

TEST(Journal, ForgetsTheOldest) {
  Journal journal;
  for (std::size_t index = 0; index < Journal::kMaxRows + 1; ++index) journal.add(rowAbout(std::to_string(index)));
  const Journal::News news = journal.newsSince(0, kAtOnce);
  EXPECT_EQ(news.rows.size(), Journal::kMaxRows);
  EXPECT_EQ(news.rows[0]["request"], "1");
}

TEST(Journal, KeepsEachTextShortAndPrintable) {
  Journal journal;
  journal.add(rowAbout("a\nb\xff"));
  journal.add(rowAbout(std::string(Journal::kMaxText - 1, 'x') + "\u6F22 and more"));
  const Journal::News news = journal.newsSince(0, kAtOnce);
  EXPECT_EQ(news.rows[0]["request"], "a\\x0ab\\xff");
  EXPECT_EQ(news.rows[1]["request"], std::string(Journal::kMaxText - 1, 'x') + "\u2026");
}

TEST(Journal, LetsThoseWhoWaitGo) {
  Journal journal;
  std::thread writer([&] { journal.add(rowAbout("x")); });
  EXPECT_EQ(journal.newsSince(0, kLong).rows.size(), 1u);
  writer.join();
  std::thread closer([&] { journal.close(); });
  EXPECT_TRUE(journal.newsSince(1, kLong).rows.empty());
  closer.join();
  EXPECT_TRUE(journal.isClosed());
}

}  // namespace
}  // namespace zuvia::zuserve
