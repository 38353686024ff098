#include "zuserve/Journal.h"

#include <algorithm>
#include <utility>

#include <json/json.h>

#include "shared/Utf8.h"

namespace zuvia::zuserve {
namespace {

// Cut where a character begins; bytes that are no UTF-8 are not looked at yet.
std::string shortened(const std::string& text) {
  if (text.size() <= Journal::kMaxText) return text;
  std::size_t end = Journal::kMaxText;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0u) == 0x80u) --end;
  return text.substr(0, end) + "\u2026";
}

void shorten(JournalRow& row) {
  for (std::string* text :
       {&row.request, &row.uid, &row.hostVersion, &row.hitSequence, &row.system, &row.answer, &row.reason})
    *text = tools::printable(shortened(*text));
}

Json::Value valueOf(Journal::Id id, const JournalRow& row) {
  using std::chrono::duration_cast, std::chrono::milliseconds;
  Json::Value value(Json::objectValue);
  value["id"] = Json::UInt64{id};
  value["time"] = Json::Int64{duration_cast<milliseconds>(row.time.time_since_epoch()).count()};
  value["request"] = row.request;
  value["uid"] = row.uid;
  value["hostver"] = row.hostVersion;
  value["hitseq"] = row.hitSequence;
  value["osVersion"] = row.system;
  value["answer"] = row.answer;
  value["why"] = row.reason;
  return value;
}

}  // namespace

Journal::Id Journal::add(JournalRow row) {
  shorten(row);
  const std::lock_guard lock(mutex_);
  if (entries_.size() == kMaxRows) entries_.pop_front();
  entries_.push_back({++lastId_, ++revision_, std::move(row)});
  written_.notify_all();
  return lastId_;
}

void Journal::replace(Id id, JournalRow row) {
  shorten(row);
  const std::lock_guard lock(mutex_);
  const auto found = std::ranges::find(entries_, id, &Entry::id);
  if (found == entries_.end()) return;
  found->row = std::move(row);
  found->revision = ++revision_;
  written_.notify_all();
}

Journal::News Journal::newsSince(Revision revision, std::chrono::milliseconds patience) const {
  std::unique_lock lock(mutex_);
  written_.wait_for(lock, patience, [&] { return isClosed_ || revision_ > revision; });
  News news{{}, revision_};
  for (const Entry& entry : entries_) {
    if (entry.revision > revision) news.rows.push_back(valueOf(entry.id, entry.row));
  }
  return news;
}

void Journal::close() {
  const std::lock_guard lock(mutex_);
  isClosed_ = true;
  written_.notify_all();
}

bool Journal::isClosed() const {
  const std::lock_guard lock(mutex_);
  return isClosed_;
}

}  // namespace zuvia::zuserve
