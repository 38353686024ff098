#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace Json {
class Value;
}

namespace zuvia::zuserve {

// One request, as the page shows it. Texts are UTF-8 and as the client sent them.
struct JournalRow {
  std::chrono::system_clock::time_point time;  // when it came in
  std::string request;                         // "GET /x.7z"
  std::string uid;
  std::string hostVersion;
  std::string hitSequence;
  std::string system;
  std::string answer;  // what was answered
  std::string reason;  // and why
};

// The requests of late, the oldest forgotten first. Each text is kept on one line of printable characters and not much
// longer than kMaxText. Any thread.
class Journal {
 public:
  static constexpr std::size_t kMaxRows = 200;
  static constexpr std::size_t kMaxText = 300;

  using Id = std::uint64_t;        // of a row, from 1 on
  using Revision = std::uint64_t;  // of the whole: rises with everything that is written

  // Rows that have come or changed, as JSON objects with their id, and up to which revision that is.
  struct News {
    std::vector<Json::Value> rows;
    Revision revision;
  };

  Id add(JournalRow row);
  // A row that was forgotten meanwhile stays so.
  void replace(Id id, JournalRow row);

  // What is newer than a revision, the oldest first; waits for it, for so long at most. Revision 0 asks for everything.
  News newsSince(Revision revision, std::chrono::milliseconds patience) const;

  // From now on nobody waits.
  void close();
  bool isClosed() const;

 private:
  struct Entry {
    Id id;
    Revision revision;
    JournalRow row;
  };

  mutable std::mutex mutex_;
  mutable std::condition_variable written_;
  std::deque<Entry> entries_;
  Id lastId_ = 0;
  Revision revision_ = 0;
  bool isClosed_ = false;
};

}  // namespace zuvia::zuserve
