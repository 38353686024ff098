#pragma once

#include <string_view>

namespace zuvia::tools {

enum class Stream { Output, Error };

// Writes text and a line end to the standard output or error stream, whole even when several threads
// write. text is UTF-8 and is shown as such on a console; it is written as it stands: pass what came
// from outside through printable(). A stream that takes nothing is not an error.
void writeLine(Stream stream, std::string_view text);

// The same without a line end.
void writeText(Stream stream, std::string_view text);

// Whether somebody reads the stream on a console. Not so when it leads to a file, a pipe or nowhere.
bool isConsole(Stream stream);

}  // namespace zuvia::tools
