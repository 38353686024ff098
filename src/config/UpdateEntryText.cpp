#include "config/UpdateEntryText.h"

#include <sstream>

#include <json/reader.h>
#include <json/value.h>

namespace zuvia {

bool parseUpdateEntry(const std::string& text, UpdateEntry& entry, std::string& errors) {
  std::istringstream stream(text);
  Json::Value parsed;
  if (!Json::parseFromStream(Json::CharReaderBuilder(), stream, &parsed, &errors)) {
    return false;
  }
  const Json::Value& document = parsed;
  entry.ver = document["ver"].asString();
  entry.pmd5 = document["pmd5"].asString();
  entry.dmd5 = document["dmd5"].asString();
  entry.url = document["url"].asString();
  return true;
}

std::string describe(const UpdateEntry& entry) {
  return "[ver: " + entry.ver + ", pmd5: " + entry.pmd5 + ", dmd5:" + entry.dmd5 + ", url: " + entry.url + "]";
}

}  // namespace zuvia
