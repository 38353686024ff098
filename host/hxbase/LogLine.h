#pragma once

#include <cstdint>
#include <string>

namespace hxbase {

// The seven values of a line, as DoLog2 takes them.
struct LogLine {
  uint16_t level;
  const char* className;
  const char* sourceFile;
  uint16_t line;
  const char* functionName;
  const wchar_t* message;
  const char* moduleName;
};

// Returns the line as UTF-8 text with a line feed at its end:
//
//   [1] zuviaplugin.dll ZuLoader:42 ZuLoader ZuLoader::onLoaded: message
//
// that is level, module, source file and line, class, function. The narrow texts are read in the
// system code page. Control characters become blanks, so that the text is one line.
std::string readableLine(const LogLine& line);

}  // namespace hxbase
