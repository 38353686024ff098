#include "Terminal.h"

#include <algorithm>
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

CONSOLE_SCREEN_BUFFER_INFO screenOf(HANDLE terminal) {
  CONSOLE_SCREEN_BUFFER_INFO screen{};
  GetConsoleScreenBufferInfo(terminal, &screen);
  return screen;
}

// Leaves the cursor at the row's beginning.
void clearRow(HANDLE terminal) {
  const CONSOLE_SCREEN_BUFFER_INFO screen = screenOf(terminal);
  const COORD begin{0, screen.dwCursorPosition.Y};
  DWORD count = 0;
  FillConsoleOutputCharacterW(terminal, L' ', static_cast<DWORD>(screen.dwSize.X), begin, &count);
  SetConsoleCursorPosition(terminal, begin);
}

// While it lives, keys are told one by one and nothing is shown by itself. Ctrl+C still ends the program.
class KeyByKey {
 public:
  explicit KeyByKey(HANDLE terminal) : terminal_(terminal) {
    GetConsoleMode(terminal_, &mode_);
    constexpr DWORD kOthers = ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT | ENABLE_VIRTUAL_TERMINAL_INPUT;
    SetConsoleMode(terminal_, mode_ & ~kOthers);
  }
  KeyByKey(const KeyByKey&) = delete;
  KeyByKey& operator=(const KeyByKey&) = delete;
  ~KeyByKey() { SetConsoleMode(terminal_, mode_); }

 private:
  HANDLE terminal_;
  DWORD mode_ = 0;
};

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

std::optional<std::string> Input::nextTyped(LineEditor& editor, Output& output) {
  const KeyByKey mode(handle_);
  editor.reset();
  auto outcome = LineEditor::Outcome::Editing;
  while (outcome == LineEditor::Outcome::Editing) {
    output.showTyping(visibleLine(editor.characters(), editor.cursor(), output.columnsForTyping()));
    const auto key = readKey();
    outcome = key ? editor.press(*key) : LineEditor::Outcome::Ended;
    if (!editor.choices().empty()) output.printWords(editor.choices());
  }
  output.endTyping();
  if (outcome == LineEditor::Outcome::Ended) return std::nullopt;
  return editor.line();
}

std::optional<Key> Input::readKey() {
  for (;;) {
    INPUT_RECORD record{};
    DWORD count = 0;
    if (ReadConsoleInputW(handle_, &record, 1, &count) == 0 || count == 0) return std::nullopt;
    if (record.EventType != KEY_EVENT) continue;
    const Key key = keyboard_.keyOf(record.Event.KeyEvent);
    if (key.kind != Key::Kind::None) return key;
  }
}

Output::Output(Style style)
    : handle_(GetStdHandle(STD_OUTPUT_HANDLE)),
      style_(style),
      isTerminal_(refersToTerminal(handle_)),
      inColour_(style == Style::Readable && switchColoursOn(handle_)) {}

void Output::print(const Record& record) {
  printLine(lineOf(record));
}

size_t Output::columnsForTyping() const {
  // The last column stays free: a character there would move the cursor to the next row.
  const auto width = static_cast<size_t>(std::max<int>(screenOf(handle_).dwSize.X, 0));
  return std::max<size_t>(width, kPrompt.size() + 2) - kPrompt.size() - 1;
}

void Output::showTyping(const VisibleLine& line) {
  const std::lock_guard lock(mutex_);
  typing_ = line;
  drawTyping();
}

void Output::endTyping() {
  const std::lock_guard lock(mutex_);
  typing_.reset();
  write("\n");
}

void Output::printWords(const std::vector<std::string>& words) {
  std::string line;
  for (const auto& word : words) line += (line.empty() ? "" : "  ") + word;
  printLine(line);
}

void Output::printLine(const std::string& line) {
  const std::lock_guard lock(mutex_);
  if (typing_) clearRow(handle_);
  write(line + '\n');
  if (typing_) drawTyping();
}

std::string Output::lineOf(const Record& record) const {
  return style_ == Style::Json ? jsonLine(record) : readableLine(record, inColour_);
}

void Output::write(std::string_view utf8) const {
  writeTo(handle_, isTerminal_, utf8);
}

// In the row where the cursor is.
void Output::drawTyping() const {
  clearRow(handle_);
  write(std::string(kPrompt) + typing_->text);
  COORD cursor = screenOf(handle_).dwCursorPosition;
  cursor.X = static_cast<SHORT>(kPrompt.size() + typing_->cursorColumn);
  SetConsoleCursorPosition(handle_, cursor);
}

void writeText(DWORD stream, std::string_view utf8) {
  const HANDLE handle = GetStdHandle(stream);
  writeTo(handle, refersToTerminal(handle), utf8);
}

}  // namespace zuhost
