#include "shared/EntryText.h"

#include <memory>

#include <json/json.h>

#include "shared/CommandLine.h"

namespace zuvia::tools {
namespace {

Json::Value parseJson(const std::string& text) {
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  Json::Value value;
  std::string errors;
  if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
    throw Failure("not valid JSON: " + errors);
  }
  return value;
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
  try {
    const Json::Value value = parseJson(text);
    return {value["ver"].asString(), value["pmd5"].asString(), value["dmd5"].asString(), value["url"].asString()};
  } catch (const Json::Exception& error) {
    throw Failure(std::string("not an update entry: ") + error.what());
  }
}

}  // namespace zuvia::tools
