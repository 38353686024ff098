#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>

namespace zuhost {

// One thing to tell: the answer to a command, or what happened by itself.
struct Record {
  enum class Kind { Answer, Error, Event, Log };

  Kind kind;
  Json::Value fields;     // an object, its texts in valid UTF-8
  std::string text = {};  // for a person, when that takes several lines
};

// {"key": value}
Record answer(const char* key, Json::Value value);

// {"error": why}
Record errorRecord(const std::string& why);

// Whether a command was not carried out, or waited in vain; and why.
bool isFailure(const Record& answer);
std::string failureText(const Record& answer);

// Whether an answer holds a result, and that result as a text: "null" for null, "true" and "false" for what
// is either.
bool hasResult(const Record& answer);
std::string resultText(const Record& answer);

// The commands, for {"help": [{"command": …, "effect": …}, …]}.
Record help();

// One command, for {"help": [{"command": …, "effect": …, "details": …}]}. Throws BadCommand when there is no such one.
Record helpAbout(const std::string& name);

// An event as a listener gets it: name and data may be null; their bytes are taken for UTF-8.
struct Event {
  const char* name;
  const char* data;
  uint64_t listener;
  uint32_t thread;
  int64_t milliseconds;  // since the program began
};

// {"event": name, "data": data, "listener": id, "thread": id, "ms": number}
Record eventRecord(const Event& event);

// A log line as the logger's sink gets it: the narrow texts in the system code page.
struct LogLine {
  uint16_t level;
  const char* className;
  const char* sourceFile;
  uint16_t line;
  const char* functionName;
  const wchar_t* message;
  const char* moduleName;
};

// {"log": {"level", "class", "source", "line", "function", "message", "module"}}
Record logRecord(const LogLine& line);

// A line of a script as a person sees it before its answer.
Record scriptLine(const std::string& line);

// Returns the record as one line of JSON, in UTF-8, without a line feed.
std::string jsonLine(const Record& record);

// Returns the record for a person, in UTF-8, without a line feed at its end. Control characters of
// the texts become blanks. Only help and status take more than one line.
std::string readableLine(const Record& record, bool inColour);

}  // namespace zuhost
