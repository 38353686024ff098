#pragma once

#include <string>

#include "common/UpdateEntry.h"

namespace zuvia::tools {

// What an update entry may measure as text; the longest file that is read as one.
inline constexpr std::size_t kMaxEntryBytes = 64 * 1024;

enum class EntryLayout {
  Readable,  // indented, with a line end behind
  Compact,   // on one line
};

// Returns the entry as JSON: an object of the four members, all texts.
std::string entryText(const UpdateEntry& entry, EntryLayout layout);

// Reads an entry from JSON text, with the code of hosts: a missing member is empty, others are not looked at.
// Throws Failure, which says what is wrong with the text; it names no file.
UpdateEntry parseEntry(const std::string& text);

}  // namespace zuvia::tools
