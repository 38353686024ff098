#include "LineEditor.h"

#include <algorithm>
#include <utility>

#include "Text.h"

namespace zuhost {
namespace {

using Kind = Key::Kind;

bool isBlank(char32_t character) {
  return character == U' ' || character == U'\t';
}

// Characters of East Asian scripts, and pictures, take two columns on a terminal.
size_t columnsOf(char32_t c) {
  const bool isWide = (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0xA4CF) || (c >= 0xAC00 && c <= 0xD7A3) ||
                      (c >= 0xF900 && c <= 0xFAFF) || (c >= 0xFE30 && c <= 0xFE6F) || (c >= 0xFF00 && c <= 0xFF60) ||
                      (c >= 0xFFE0 && c <= 0xFFE6) || (c >= 0x1F300 && c <= 0x1FAFF) || (c >= 0x20000 && c <= 0x3FFFD);
  return isWide ? 2 : 1;
}

size_t columnsOf(const std::u32string& characters, size_t begin, size_t end) {
  size_t columns = 0;
  for (size_t i = begin; i < end; ++i) columns += columnsOf(characters[i]);
  return columns;
}

}  // namespace

LineEditor::LineEditor(const History& history, Completer completer)
    : history_(history), completer_(std::move(completer)) {
  reset();
}

LineEditor::Outcome LineEditor::press(const Key& key) {
  choices_.clear();
  if (key.kind == Kind::Enter) return Outcome::Entered;
  if (key.kind == Kind::EndOfInput && characters_.empty()) return Outcome::Ended;
  if (key.kind == Kind::Complete) {
    complete();
  } else {
    edit(key);
    move(key);
  }
  return Outcome::Editing;
}

void LineEditor::reset() {
  characters_.clear();
  cursor_ = 0;
  recalled_ = history_.lines().size();
  typed_.clear();
  choices_.clear();
}

std::string LineEditor::line() const {
  return utf8OfCodePoints(characters_);
}

void LineEditor::edit(const Key& key) {
  switch (key.kind) {
    case Kind::Character:
      return insert({key.character});
    case Kind::DeleteBefore:
      return erase(cursor_ - std::min<size_t>(cursor_, 1), cursor_);
    case Kind::DeleteAfter:
    case Kind::EndOfInput:
      return erase(cursor_, std::min(cursor_ + 1, characters_.size()));
    case Kind::DeleteWordBefore:
      return erase(wordBefore(), cursor_);
    case Kind::DeleteAllBefore:
      return erase(0, cursor_);
    case Kind::DeleteAllAfter:
      return erase(cursor_, characters_.size());
    case Kind::Clear:
      return erase(0, characters_.size());
    default:
      return;
  }
}

void LineEditor::move(const Key& key) {
  switch (key.kind) {
    case Kind::Left:
      cursor_ -= std::min<size_t>(cursor_, 1);
      return;
    case Kind::Right:
      cursor_ = std::min(cursor_ + 1, characters_.size());
      return;
    case Kind::WordLeft:
      cursor_ = wordBefore();
      return;
    case Kind::WordRight:
      cursor_ = wordAfter();
      return;
    case Kind::Begin:
      cursor_ = 0;
      return;
    case Kind::End:
      cursor_ = characters_.size();
      return;
    case Kind::Older:
      if (recalled_ > 0) recall(recalled_ - 1);
      return;
    case Kind::Newer:
      if (recalled_ < history_.lines().size()) recall(recalled_ + 1);
      return;
    default:
      return;
  }
}

void LineEditor::complete() {
  const std::string before = utf8OfCodePoints(characters_.substr(0, cursor_));
  const Completion completion = completer_(before);
  if (completion.words.empty()) return;
  const bool isOnly = completion.words.size() == 1;
  std::string word = commonBeginning(completion.words);
  if (isOnly && !completion.isRest) word += ' ';
  const size_t begin = codePointsOf(std::string_view(before).substr(0, completion.begin)).size();
  // Words that differ from what was typed in letter case only, and have nothing in common, add nothing.
  if (codePointsOf(word).size() >= cursor_ - begin) {
    erase(begin, cursor_);
    insert(codePointsOf(word));
  }
  if (!isOnly && utf8OfCodePoints(characters_.substr(0, cursor_)) == before) choices_ = completion.words;
}

void LineEditor::insert(const std::u32string& text) {
  characters_.insert(cursor_, text);
  cursor_ += text.size();
}

void LineEditor::erase(size_t begin, size_t end) {
  characters_.erase(begin, end - begin);
  cursor_ = begin;
}

void LineEditor::recall(size_t index) {
  const auto& lines = history_.lines();
  if (recalled_ == lines.size()) typed_ = characters_;
  recalled_ = index;
  characters_ = index == lines.size() ? typed_ : codePointsOf(lines[index]);
  cursor_ = characters_.size();
}

size_t LineEditor::wordBefore() const {
  size_t at = cursor_;
  while (at > 0 && isBlank(characters_[at - 1])) --at;
  while (at > 0 && !isBlank(characters_[at - 1])) --at;
  return at;
}

size_t LineEditor::wordAfter() const {
  size_t at = cursor_;
  while (at < characters_.size() && !isBlank(characters_[at])) ++at;
  while (at < characters_.size() && isBlank(characters_[at])) ++at;
  return at;
}

VisibleLine visibleLine(const std::u32string& characters, size_t cursor, size_t columns) {
  size_t begin = 0;
  while (columnsOf(characters, begin, cursor) >= columns && begin < cursor) ++begin;
  size_t end = begin;
  size_t used = 0;
  while (end < characters.size() && used + columnsOf(characters[end]) <= columns) used += columnsOf(characters[end++]);
  return {utf8OfCodePoints(characters.substr(begin, end - begin)), columnsOf(characters, begin, cursor)};
}

}  // namespace zuhost
