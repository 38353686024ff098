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

std::string withoutControls(std::string text) {
  std::ranges::replace_if(
      text, [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
  return text;
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

std::string syntaxText(const CommandSyntax& syntax) {
  std::string text(syntax.name);
  if (!syntax.parameters.empty()) text.append(" ").append(syntax.parameters);
  return text;
}

Json::Value helpEntry(const CommandSyntax& syntax) {
  Json::Value entry;
  entry["command"] = syntaxText(syntax);
  entry["effect"] = std::string(syntax.effect);
  return entry;
}

// What is too long for its column gets a line of its own.
std::string readableHelp() {
  constexpr size_t kColumn = 18;
  std::string text;
  for (const auto& syntax : commandTable()) {
    std::string line = syntaxText(syntax);
    if (line.size() > kColumn - 2) line += '\n' + std::string(kColumn, ' ');
    line.resize(std::max(line.size(), kColumn), ' ');
    text.append(text.empty() ? "" : "\n").append(line).append(syntax.effect);
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
    case Record::Kind::Error:
      return "error: " + record.fields["error"].asString();
    case Record::Kind::Answer:
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

bool isFailure(const Record& answer) {
  return answer.kind == Record::Kind::Error || (answer.fields.isMember("ok") && !answer.fields["ok"].asBool());
}

std::string failureText(const Record& answer) {
  if (answer.kind == Record::Kind::Error) return answer.fields["error"].asString();
  return "the event " + answer.fields["waited"].asString() + " did not come";
}

bool hasResult(const Record& answer) {
  const auto has = [&](const char* name) { return answer.fields.isMember(name); };
  return answer.kind == Record::Kind::Answer && !has("done") && !has("help") && !has("status") && !has("matched");
}

std::string resultText(const Record& answer) {
  const Json::Value& result = answer.fields.isMember("ok") ? answer.fields["ok"] : *answer.fields.begin();
  return result.isNull() ? "null" : result.asString();
}

Record help() {
  Json::Value commands(Json::arrayValue);
  for (const auto& syntax : commandTable()) commands.append(helpEntry(syntax));
  Record record = answer("help", commands);
  record.text = readableHelp();
  return record;
}

Record helpAbout(const std::string& name) {
  const CommandSyntax* const syntax = findCommand(name);
  if (syntax == nullptr) throw BadCommand("unknown command: " + name + "; help lists them");
  std::string details(syntax->details);
  if (!details.empty()) details.pop_back();  // the last line feed
  Json::Value entry = helpEntry(*syntax);
  entry["details"] = details;
  Json::Value commands(Json::arrayValue);
  commands.append(entry);
  Record record = answer("help", commands);
  record.text = syntaxText(*syntax) + "\n" + std::string(syntax->effect) + (details.empty() ? "" : "\n" + details);
  return record;
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

Record scriptLine(const std::string& line) {
  return {Record::Kind::Answer, Json::objectValue, withoutControls("> " + validUtf8(line))};
}

std::string jsonLine(const Record& record) {
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  writer["emitUTF8"] = true;
  return Json::writeString(writer, record.fields);
}

std::string readableLine(const Record& record, bool inColour) {
  if (!record.text.empty()) return record.text;
  const std::string text = withoutControls(readable(record));
  return inColour ? colourOf(record.kind) + text + "\x1B[0m" : text;
}

}  // namespace zuhost
