#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>

namespace zuhost {

// One thing to tell: the answer to a command, or what happened by itself.
struct Record {
  enum class Kind { Answer, Error, Event, Log };

  Kind kind;
  Json::Value fields;  // an object, its texts in valid UTF-8
};

// {"key": value}
Record answer(const char* key, Json::Value value);

// {"error": why}
Record errorRecord(const std::string& why);

// The commands, for {"help": [{"command": …, "effect": …}, …]}.
Record help();

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

// Returns the record as one line of JSON, in UTF-8, without a line feed.
std::string jsonLine(const Record& record);

// Returns the record for a person, in UTF-8, without a line feed at its end. Control characters of
// the texts become blanks. Only help takes more than one line.
std::string readableLine(const Record& record, bool inColour);

}  // namespace zuhost
