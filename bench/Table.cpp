#include "Table.h"

#include <json/json.h>

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace zuvia::bench {
namespace {

// Three digits that say something, and no exponent.
std::string shortened(double value) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(value >= 100 ? 0 : value >= 10 ? 1 : 2) << value;
  return text.str();
}

std::string verdict(const Row& row) {
  if (!row.target) return "";
  return row.isMet() ? "ok" : "MISSED";
}

void appendLine(std::ostringstream& text, int width, const std::string& name, const std::vector<std::string>& cells) {
  text << std::left << std::setw(width) << name << std::right;
  for (const std::string& cell : cells) text << std::setw(13) << cell;
  text << '\n';
}

}  // namespace

std::string toTable(const Rows& rows) {
  std::size_t width = 4;
  for (const Row& row : rows) width = std::max(width, row.name.size());
  std::ostringstream text;
  appendLine(text, static_cast<int>(width), "what", {"ours", "yardstick", "unit", "ratio", "target", ""});
  for (const Row& row : rows) {
    appendLine(text, static_cast<int>(width), row.name,
               {shortened(row.ours), shortened(row.yardstick), row.unit, shortened(row.ratio()),
                row.target ? shortened(*row.target) : "", verdict(row)});
  }
  return text.str();
}

std::string toJson(const Rows& rows) {
  Json::Value document(Json::arrayValue);
  for (const Row& row : rows) {
    Json::Value& object = document.append(Json::objectValue);
    object["name"] = row.name;
    object["ratio"] = row.ratio();
    object["target"] = row.target ? Json::Value(*row.target) : Json::Value();
    object["ours"] = row.ours;
    object["yardstick"] = row.yardstick;
    object["unit"] = row.unit;
    object["limitedBy"] = row.limitedBy;
  }
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["precision"] = 6;
  return Json::writeString(builder, document) + '\n';
}

}  // namespace zuvia::bench
