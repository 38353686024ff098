#pragma once

#include <windows.h>

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "LineSplitter.h"
#include "Record.h"

// The program's standard streams: a file, a pipe, or the terminal of a person.
namespace zuhost {

// The standard input, read as UTF-8.
class Input {
 public:
  Input();

  bool isTerminal() const { return isTerminal_; }

  // Waits for the next line and takes it, without its end. Returns nothing at the end of the input;
  // an error counts as the end.
  std::optional<std::string> nextLine();

 private:
  std::string readSome();
  std::string readTerminal();

  HANDLE handle_;
  bool isTerminal_;
  LineSplitter lines_;
};

// The standard output. Every operation: any thread; each line is written whole and at once.
class Output {
 public:
  enum class Style { Json, Readable };

  // withPrompt: whether prompt writes one.
  Output(Style style, bool withPrompt);

  void print(const Record& record);

  // Invites a person to type. Lines that come while the prompt is waiting go above it.
  void prompt();

  // The line that was asked for has been typed.
  void promptAnswered();

 private:
  std::string lineOf(const Record& record) const;
  void write(std::string_view utf8);

  HANDLE handle_;
  Style style_;
  bool withPrompt_;
  bool isTerminal_;
  bool inColour_;
  std::mutex mutex_;
  bool promptIsWaiting_ = false;
};

// Writes UTF-8 to a standard stream (STD_OUTPUT_HANDLE, STD_ERROR_HANDLE).
void writeText(DWORD stream, std::string_view utf8);

}  // namespace zuhost
