#include "Record.h"

#include <json/writer.h>

#include <algorithm>

#include "Command.h"
#include "Text.h"

namespace zuhost {
namespace {

Json::Value textOrNull(const char* bytes) {
  return bytes == nullptr ? Json::Value() : Json::Value(validUtf8(bytes));
}

// "a: 1, b: two" of an object; of anything else its value.
std::string plain(const Json::Value& value) {
  if (!value.isObject()) return value.asString();
  std::string text;
  for (const auto& name : value.getMemberNames()) {
    if (!text.empty()) text += ", ";
    text += name + ": " + value[name].asString();
  }
  return text;
}

std::string readableHelp(const Json::Value& commands) {
  std::string text;
  for (const auto& command : commands) {
    std::string line = command["command"].asString();
    line.resize(std::max<size_t>(line.size(), 16), ' ');
    text += (text.empty() ? "" : "\n") + line + "  " + command["effect"].asString();
  }
  return text;
}

std::string readableEvent(const Json::Value& event) {
  return "event " + event["event"].asString() + " \"" + event["data"].asString() + "\" (listener " +
         event["listener"].asString() + ", thread " + event["thread"].asString() + ", " + event["ms"].asString() +
         " ms)";
}

std::string readableLog(const Json::Value& log) {
  return "log [" + log["level"].asString() + "] " + log["module"].asString() + " " + log["source"].asString() + ":" +
         log["line"].asString() + " " + log["function"].asString() + ": " + log["message"].asString();
}

std::string readable(const Record& record) {
  switch (record.kind) {
    case Record::Kind::Event:
      return readableEvent(record.fields);
    case Record::Kind::Log:
      return readableLog(record.fields["log"]);
    case Record::Kind::Answer:
    case Record::Kind::Error:
      break;
  }
  return plain(record.fields);
}

const char* colourOf(Record::Kind kind) {
  switch (kind) {
    case Record::Kind::Error:
      return "\x1B[31m";  // red
    case Record::Kind::Event:
      return "\x1B[36m";  // cyan
    case Record::Kind::Log:
      return "\x1B[90m";  // grey
    case Record::Kind::Answer:
      break;
  }
  return "\x1B[32m";  // green
}

}  // namespace

Record answer(const char* key, Json::Value value) {
  Record record{Record::Kind::Answer, Json::objectValue};
  record.fields[key] = std::move(value);
  return record;
}

Record errorRecord(const std::string& why) {
  Record record{Record::Kind::Error, Json::objectValue};
  record.fields["error"] = validUtf8(why);
  return record;
}

Record help() {
  Json::Value commands(Json::arrayValue);
  for (const auto& syntax : commandTable()) {
    std::string command(syntax.name);
    if (!syntax.parameters.empty()) command.append(" ").append(syntax.parameters);
    Json::Value entry;
    entry["command"] = command;
    entry["effect"] = std::string(syntax.effect);
    commands.append(entry);
  }
  return answer("help", commands);
}

Record eventRecord(const Event& event) {
  Record record{Record::Kind::Event, Json::objectValue};
  record.fields["event"] = textOrNull(event.name);
  record.fields["data"] = textOrNull(event.data);
  record.fields["listener"] = event.listener;
  record.fields["thread"] = event.thread;
  record.fields["ms"] = event.milliseconds;
  return record;
}

Record logRecord(const LogLine& line) {
  Json::Value log;
  log["level"] = line.level;
  log["class"] = utf8OfAnsi(line.className);
  log["source"] = utf8OfAnsi(line.sourceFile);
  log["line"] = line.line;
  log["function"] = utf8OfAnsi(line.functionName);
  log["message"] = utf8Of(line.message);
  log["module"] = utf8OfAnsi(line.moduleName);
  Record record{Record::Kind::Log, Json::objectValue};
  record.fields["log"] = log;
  return record;
}

std::string jsonLine(const Record& record) {
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  writer["emitUTF8"] = true;
  return Json::writeString(writer, record.fields);
}

std::string readableLine(const Record& record, bool inColour) {
  if (record.fields.isMember("help")) return readableHelp(record.fields["help"]);
  std::string text = readable(record);
  std::ranges::replace_if(
      text, [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
  return inColour ? colourOf(record.kind) + text + "\x1B[0m" : text;
}

}  // namespace zuhost
