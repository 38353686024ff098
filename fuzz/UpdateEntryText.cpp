#include "config/UpdateEntryText.h"

#include <optional>
#include <string>
#include <tuple>

#include <json/value.h>

#include "Targets.h"
#include "Text.h"

namespace zuvia::fuzz {

namespace {

bool same(const UpdateEntry& left, const UpdateEntry& right) {
  const auto parts = [](const UpdateEntry& entry) { return std::tie(entry.ver, entry.pmd5, entry.dmd5, entry.url); };
  return parts(left) == parts(right);
}

// What an accepted text says.
std::optional<UpdateEntry> read(const std::string& text) {
  const UpdateEntry before{"1", "2", "3", "4"};
  UpdateEntry entry = before;
  std::string errors;
  bool accepted = false;
  try {
    accepted = parseUpdateEntry(text, entry, errors);
  } catch (const Json::Exception&) {
    require(entry.url == before.url, "the last member is not set when one is refused");
    return std::nullopt;
  }
  require(accepted == errors.empty(), "the parser has words when it refuses, and only then");
  require(accepted || same(entry, before), "a text that is no JSON changes nothing");
  return accepted ? std::optional(entry) : std::nullopt;
}

std::string written(const UpdateEntry& entry) {
  return "{\"ver\":" + quoted(entry.ver) + ",\"pmd5\":" + quoted(entry.pmd5) + ",\"dmd5\":" + quoted(entry.dmd5) +
         ",\"url\":" + quoted(entry.url) + "}";
}

void checkWritten(const UpdateEntry& entry) {
  const auto again = read(written(entry));
  require(again && same(*again, entry), "what is written with any bytes is read as it was");
  require(describe(*again) == describe(entry), "the same entry has one description");
}

}  // namespace

void updateEntryText(std::string_view input) {
  const std::string text(input);
  checkWritten({text, text, text, text});
  const auto entry = read(text);
  if (entry) checkWritten(*entry);
}

}  // namespace zuvia::fuzz
