#include "shared/ConfigAnswer.h"

#include <json/json.h>

#include "shared/EntryText.h"

namespace zuvia::tools {

std::string configurationAnswer(const std::optional<UpdateEntry>& entry) {
  Json::Value answer(Json::objectValue);
  answer["configs"] = Json::Value(Json::objectValue);
  if (entry) answer["configs"]["zu_plugin_update"] = entryText(*entry, EntryLayout::Compact);
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  return Json::writeString(writer, answer);
}

}  // namespace zuvia::tools
