#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "Completion.h"
#include "History.h"

namespace zuhost {

// A key as the editor understands it.
struct Key {
  enum class Kind {
    Character,
    Enter,
    Complete,
    DeleteBefore,
    DeleteAfter,
    DeleteWordBefore,
    DeleteAllBefore,
    DeleteAllAfter,
    Left,
    Right,
    WordLeft,
    WordRight,
    Begin,
    End,
    Older,
    Newer,
    Clear,
    EndOfInput,  // ends the input of an empty line, else deletes behind the cursor
    None,
  };

  Kind kind;
  char32_t character = 0;  // of Character
};

// A line that a person types, with a history to walk through. It knows no console; one thread at a time.
class LineEditor {
 public:
  enum class Outcome { Editing, Entered, Ended };

  using Completer = std::function<Completion(const std::string& beforeCursor)>;

  // history: what was entered before; it must live as long.
  LineEditor(const History& history, Completer completer);

  // Does what the key means. Entered: line() is what was typed; Ended: there is no more input.
  Outcome press(const Key& key);

  // An empty line, and the end of the history.
  void reset();

  std::string line() const;

  // Where the cursor is, in characters, and all of them.
  size_t cursor() const { return cursor_; }
  const std::u32string& characters() const { return characters_; }

  // The words among which the last key could not choose; empty otherwise.
  const std::vector<std::string>& choices() const { return choices_; }

 private:
  void edit(const Key& key);
  void move(const Key& key);
  void complete();
  void insert(const std::u32string& text);
  void erase(size_t begin, size_t end);
  void recall(size_t index);
  size_t wordBefore() const;
  size_t wordAfter() const;

  const History& history_;
  Completer completer_;
  std::u32string characters_;
  size_t cursor_ = 0;
  size_t recalled_ = 0;   // which line of the history is shown; behind the last: the one being typed
  std::u32string typed_;  // that one, while another is shown
  std::vector<std::string> choices_;
};

// The part of a line that fits in so many columns, with the cursor in it.
struct VisibleLine {
  std::string text;
  size_t cursorColumn;  // in it
};
VisibleLine visibleLine(const std::u32string& characters, size_t cursor, size_t columns);

}  // namespace zuhost
