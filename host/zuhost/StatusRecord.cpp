#include "StatusRecord.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "Text.h"

namespace zuhost {
namespace {

// ---- why a module is, or is not, the one

std::string verdict(const Installation& installation, size_t index) {
  const FoundModule& module = installation.modules[index];
  if (!module.version) return "no candidate: " + module.fault;
  if (!module.fault.empty()) return "would not load: " + module.fault;
  if (installation.chosen == index) return "would be chosen";
  const bool isSame = module.version == installation.modules[*installation.chosen].version;
  return isSame ? "not chosen: of the same version, and found later" : "not chosen: older";
}

const char* nameOf(FoundDirectory::Kind kind) {
  switch (kind) {
    case FoundDirectory::Kind::Version:
      return "version";
    case FoundDirectory::Kind::Incomplete:
      return "incomplete";
    case FoundDirectory::Kind::Temporary:
      return "temporary";
    case FoundDirectory::Kind::Link:
      return "link";
    case FoundDirectory::Kind::Other:
      break;
  }
  return "other";
}

const char* explanationOf(FoundDirectory::Kind kind) {
  switch (kind) {
    case FoundDirectory::Kind::Version:
      return "a version";
    case FoundDirectory::Kind::Incomplete:
      return "named as a version, but without zuimpl.dll: the rest of a removal";
    case FoundDirectory::Kind::Temporary:
      return "an update unpacks here, or died here";
    case FoundDirectory::Kind::Link:
      return "a link, which is not followed";
    case FoundDirectory::Kind::Other:
      break;
  }
  return "not the plugin's";
}

// ---- JSON

Json::Value textOrNull(const std::optional<std::string>& text) {
  return text ? Json::Value(validUtf8(*text)) : Json::Value();
}

Json::Value usersValue(const std::vector<ModuleUser>& users) {
  Json::Value list(Json::arrayValue);
  for (const auto& user : users) {
    Json::Value value;
    value["process"] = user.process;
    value["program"] = utf8Of(user.program);
    list.append(value);
  }
  return list;
}

Json::Value moduleValue(const Installation& installation, size_t index) {
  const FoundModule& module = installation.modules[index];
  Json::Value value;
  value["path"] = utf8Of(module.path);
  value["version"] = textOrNull(module.version);
  value["chosen"] = installation.chosen == index;
  value["verdict"] = validUtf8(verdict(installation, index));
  value["loadedBy"] = usersValue(module.users);
  return value;
}

Json::Value fileValue(const FoundFile& file) {
  Json::Value value;
  value["name"] = utf8Of(file.name);
  value["bytes"] = Json::UInt64{file.bytes};
  value["ageSeconds"] = Json::Int64{file.ageSeconds};
  return value;
}

Json::Value directoryValue(const FoundDirectory& directory) {
  Json::Value value = fileValue({directory.name, directory.bytes, directory.ageSeconds});
  value["kind"] = nameOf(directory.kind);
  value["files"] = Json::UInt64{directory.files};
  return value;
}

Json::Value answerValue(const CachedAnswer& answer) {
  Json::Value value;
  value["url"] = validUtf8(answer.url);
  value["timestamp_ms"] = Json::Int64{answer.milliseconds};
  value["meaning"] = validUtf8(answer.meaning);
  return value;
}

template <typename Items, typename Convert>
Json::Value listOf(const Items& items, Convert convert) {
  Json::Value list(Json::arrayValue);
  for (const auto& item : items) list.append(convert(item));
  return list;
}

Json::Value cachesValue(const Caches& caches) {
  Json::Value value;
  value["directory"] = utf8Of(caches.directory);
  value["hitSequence"] = textOrNull(caches.hitSequence);
  value["answerBytes"] = caches.answerBytes ? Json::Value(Json::UInt64{*caches.answerBytes}) : Json::Value();
  value["answerFault"] = validUtf8(caches.answerFault);
  value["answers"] = listOf(caches.answers, answerValue);
  value["packages"] = listOf(caches.packages, fileValue);
  return value;
}

Json::Value installationValue(const Installation& installation) {
  Json::Value value;
  value["root"] = utf8Of(installation.root);
  value["plugin"]["file"] = utf8Of(installation.plugin);
  value["plugin"]["exists"] = installation.isPluginThere;
  value["plugin"]["version"] = textOrNull(installation.pluginVersion);
  value["plugin"]["loadedBy"] = usersValue(installation.pluginUsers);
  value["chosen"] = installation.chosen ? utf8Of(installation.modules[*installation.chosen].path) : Json::Value();
  value["modules"] = Json::arrayValue;
  for (size_t i = 0; i < installation.modules.size(); ++i) value["modules"].append(moduleValue(installation, i));
  value["directories"] = listOf(installation.directories, directoryValue);
  value["files"] = listOf(installation.files, fileValue);
  value["messages"] = listOf(installation.messages, [](const std::string& text) { return validUtf8(text); });
  value["caches"] = cachesValue(installation.caches);
  return value;
}

// ---- text

// A line of the table: name, padded, and what there is to say.
std::string row(std::string name, const std::string& text) {
  constexpr size_t kColumn = 30;
  name.insert(0, "  ");
  if (name.size() < kColumn) name.resize(kColumn, ' ');
  return name + "  " + text + '\n';
}

std::string usersText(const std::vector<ModuleUser>& users) {
  std::string text;
  for (const auto& user : users) {
    text += (text.empty() ? "; loaded by " : ", ") + utf8Of(user.program) + ' ' + std::to_string(user.process);
  }
  return text;
}

std::string count(uint64_t number, const std::string& what) {
  return std::to_string(number) + ' ' + what + (number == 1 ? "" : "s");
}

std::string fileText(const FoundFile& file) {
  return count(file.bytes, "byte") + ", " + ageText(file.ageSeconds) + " old";
}

std::string directoryText(const FoundDirectory& directory) {
  std::string text = explanationOf(directory.kind);
  if (directory.kind != FoundDirectory::Kind::Link) {
    text += "; " + count(directory.files, "file") + ", " + count(directory.bytes, "byte");
  }
  return text + ", " + ageText(directory.ageSeconds) + " old";
}

std::string timeText(int64_t milliseconds) {
  using namespace std::chrono;
  const auto time = floor<seconds>(sys_time<std::chrono::milliseconds>(std::chrono::milliseconds(milliseconds)));
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  char text[64];
  std::snprintf(text, sizeof(text), "%04d-%02u-%02u %02d:%02d:%02d UTC", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

std::string modulesText(const Installation& installation) {
  std::string text = installation.modules.empty() ? row("none", "a load finds no zuimpl.dll") : "";
  for (size_t i = 0; i < installation.modules.size(); ++i) {
    const FoundModule& module = installation.modules[i];
    text += row(utf8Of(module.path),
                module.version.value_or("?") + "  " + verdict(installation, i) + usersText(module.users));
  }
  return text;
}

std::string answersText(const Caches& caches) {
  std::string text = row("bbs.cache", caches.answerBytes ? count(*caches.answerBytes, "byte") : "none");
  if (!caches.answerFault.empty()) text += row("", caches.answerFault);
  for (const auto& answer : caches.answers) {
    text += row("", timeText(answer.milliseconds) + "  " + answer.url + "  " + answer.meaning);
  }
  return text;
}

std::string cachesText(const Caches& caches) {
  std::string text = row("hit.cache", caches.hitSequence.value_or("none")) + answersText(caches);
  for (const auto& package : caches.packages) text += row("update\\" + utf8Of(package.name), fileText(package));
  return text;
}

std::string readable(const Installation& installation) {
  const std::string version = installation.pluginVersion.value_or("of no known version");
  std::string text = "plugin in " + utf8Of(installation.root) + '\n';
  text += row(utf8Of(installation.plugin),
              (installation.isPluginThere ? version : "is not there") + usersText(installation.pluginUsers));
  for (const auto& file : installation.files) text += row(utf8Of(file.name), fileText(file));
  text += "modules, in the order in which a load tries them\n" + modulesText(installation);
  for (const auto& message : installation.messages) text += row("", message);
  text += "directories\n";
  for (const auto& directory : installation.directories) text += row(utf8Of(directory.name), directoryText(directory));
  text += "caches in " + utf8Of(installation.caches.directory) + '\n' + cachesText(installation.caches);
  text.pop_back();
  return text;
}

// What comes from files must not act on a terminal.
std::string harmless(std::string text) {
  std::ranges::replace_if(
      text, [](unsigned char c) { return (c < ' ' && c != '\n') || c == 0x7F; }, ' ');
  return text;
}

}  // namespace

std::string ageText(int64_t seconds) {
  constexpr int64_t kMinute = 60;
  constexpr int64_t kHour = 60 * kMinute;
  constexpr int64_t kDay = 24 * kHour;
  if (seconds >= kDay) return std::to_string(seconds / kDay) + " d";
  if (seconds >= kHour) return std::to_string(seconds / kHour) + " h";
  if (seconds >= kMinute) return std::to_string(seconds / kMinute) + " min";
  return std::to_string(std::max<int64_t>(seconds, 0)) + " s";
}

Record statusRecord(const Installation& installation) {
  Record record = answer("status", installationValue(installation));
  record.text = harmless(readable(installation));
  return record;
}

}  // namespace zuhost
