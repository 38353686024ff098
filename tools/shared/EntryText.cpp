#include "shared/EntryText.h"

#include <sstream>

#include <json/json.h>

#include "config/UpdateEntryText.h"
#include "shared/CommandLine.h"

namespace zuvia::tools {
namespace {

// The library's messages have several lines; here a message is part of one.
std::string onOneLine(const std::string& text) {
  std::istringstream words(text);
  std::string line;
  for (std::string word; words >> word;) line += (line.empty() ? "" : " ") + word;
  return line;
}

}  // namespace

std::string entryText(const UpdateEntry& entry, EntryLayout layout) {
  Json::Value value(Json::objectValue);
  value["ver"] = entry.ver;
  value["pmd5"] = entry.pmd5;
  value["dmd5"] = entry.dmd5;
  value["url"] = entry.url;
  Json::StreamWriterBuilder writer;
  writer["indentation"] = layout == EntryLayout::Readable ? "  " : "";
  return Json::writeString(writer, value) + (layout == EntryLayout::Readable ? "\n" : "");
}

UpdateEntry parseEntry(const std::string& text) {
  UpdateEntry entry;
  std::string errors;
  try {
    if (parseUpdateEntry(text, entry, errors)) return entry;
  } catch (const Json::Exception& error) {
    throw Failure("not an update entry: " + onOneLine(error.what()));
  }
  throw Failure("not valid JSON: " + onOneLine(errors));
}

}  // namespace zuvia::tools
