#pragma once

#include <string>

#include "common/UpdateEntry.h"

namespace zuvia {

// Reads an update entry from its JSON text; a missing member counts as "".
// Returns false, with the parser's words in `errors` and the entry left alone, when the text is not
// JSON. Throws what the JSON library throws (a standard exception) when it is not an object or a
// member is not a text; the members before that one are set then.
bool parseUpdateEntry(const std::string& text, UpdateEntry& entry, std::string& errors);

// The entry in one line for the log.
std::string describe(const UpdateEntry& entry);

}  // namespace zuvia
