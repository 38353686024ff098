#pragma once

#include <windows.h>

#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Keyboard.h"
#include "LineEditor.h"
#include "LineSplitter.h"
#include "Record.h"

// The program's standard streams: a file, a pipe, or the terminal of a person.
namespace zuhost {

class Output;

// The standard input, read as UTF-8.
class Input {
 public:
  Input();

  bool isTerminal() const { return isTerminal_; }

  // Waits for the next line and takes it, without its end. Returns nothing at the end of the input;
  // an error counts as the end. At a terminal Windows has it typed and shows it.
  std::optional<std::string> nextLine();

  // Has a person type a line at a terminal, and shows it there. Returns as nextLine.
  std::optional<std::string> nextTyped(LineEditor& editor, Output& output);

 private:
  std::string readSome();
  std::string readTerminal();
  std::optional<Key> readKey();

  HANDLE handle_;
  bool isTerminal_;
  LineSplitter lines_;
  Keyboard keyboard_;
};

// The standard output. Every operation: any thread; each line is written whole and at once.
class Output {
 public:
  enum class Style { Json, Readable };

  explicit Output(Style style);

  bool isTerminal() const { return isTerminal_; }

  void print(const Record& record);

  // ---- For a person at a terminal

  // How much of a line that is being typed fits beside the prompt.
  size_t columnsForTyping() const;

  // Shows a prompt and what has been typed so far. What is printed from now on goes above it.
  void showTyping(const VisibleLine& line);

  // The line has been typed; it stays where it is.
  void endTyping();

  // Prints words in a line.
  void printWords(const std::vector<std::string>& words);

 private:
  std::string lineOf(const Record& record) const;
  void printLine(const std::string& line);
  void write(std::string_view utf8) const;
  void drawTyping() const;

  HANDLE handle_;
  Style style_;
  bool isTerminal_;
  bool inColour_;
  std::mutex mutex_;
  std::optional<VisibleLine> typing_;
};

// Writes UTF-8 to a standard stream (STD_OUTPUT_HANDLE, STD_ERROR_HANDLE).
void writeText(DWORD stream, std::string_view utf8);

}  // namespace zuhost
