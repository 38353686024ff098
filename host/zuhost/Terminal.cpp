#include "Terminal.h"

#include <array>

#include "Text.h"

namespace zuhost {
namespace {

constexpr std::string_view kPrompt = "zuhost> ";
constexpr wchar_t kEndOfTerminalInput = 0x1A;  // Ctrl+Z

bool refersToTerminal(HANDLE handle) {
  DWORD mode = 0;
  return GetConsoleMode(handle, &mode) != 0;
}

bool switchColoursOn(HANDLE terminal) {
  DWORD mode = 0;
  return GetConsoleMode(terminal, &mode) != 0 &&
         SetConsoleMode(terminal, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

void writeBytes(HANDLE handle, std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD written = 0;
    if (WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) == 0) return;
    bytes.remove_prefix(written);
  }
}

void writeTo(HANDLE handle, bool isTerminal, std::string_view utf8) {
  if (!isTerminal) return writeBytes(handle, utf8);
  const std::wstring wide = wideOf(utf8);
  DWORD written = 0;
  WriteConsoleW(handle, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
}

}  // namespace

Input::Input() : handle_(GetStdHandle(STD_INPUT_HANDLE)), isTerminal_(refersToTerminal(handle_)) {}

std::optional<std::string> Input::nextLine() {
  for (;;) {
    if (auto line = lines_.next()) return line;
    const std::string bytes = isTerminal_ ? readTerminal() : readSome();
    if (bytes.empty()) return lines_.last();
    lines_.add(bytes);
  }
}

std::string Input::readSome() {
  std::array<char, 4096> buffer;
  DWORD count = 0;
  if (ReadFile(handle_, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) == 0) return {};
  return {buffer.data(), count};
}

std::string Input::readTerminal() {
  std::array<wchar_t, 4096> buffer;
  DWORD count = 0;
  if (ReadConsoleW(handle_, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) == 0) return {};
  if (count == 0 || buffer[0] == kEndOfTerminalInput) return {};
  return utf8Of({buffer.data(), count});
}

Output::Output(Style style, bool withPrompt)
    : handle_(GetStdHandle(STD_OUTPUT_HANDLE)),
      style_(style),
      withPrompt_(withPrompt),
      isTerminal_(refersToTerminal(handle_)),
      inColour_(style == Style::Readable && switchColoursOn(handle_)) {}

void Output::print(const Record& record) {
  const std::string line = lineOf(record) + '\n';
  const std::lock_guard lock(mutex_);
  if (!promptIsWaiting_) return write(line);
  write(std::string("\r").append(line).append(kPrompt));
}

void Output::prompt() {
  if (!withPrompt_) return;
  const std::lock_guard lock(mutex_);
  promptIsWaiting_ = true;
  write(kPrompt);
}

void Output::promptAnswered() {
  const std::lock_guard lock(mutex_);
  promptIsWaiting_ = false;
}

std::string Output::lineOf(const Record& record) const {
  return style_ == Style::Json ? jsonLine(record) : readableLine(record, inColour_);
}

void Output::write(std::string_view utf8) {
  writeTo(handle_, isTerminal_, utf8);
}

void writeText(DWORD stream, std::string_view utf8) {
  const HANDLE handle = GetStdHandle(stream);
  writeTo(handle, refersToTerminal(handle), utf8);
}

}  // namespace zuhost
