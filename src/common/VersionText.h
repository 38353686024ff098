#pragma once

#include <string>
#include <string_view>

#include "common/DllCandidate.h"

namespace zuvia {

// Whether a directory of this name may be one of the plugin's version directories: only decimal
// digits and full stops, at least one digit.
bool isVersionName(std::wstring_view name);

// Reads the version of an update entry: 1 to 31 characters, 3 or 4 numbers joined by single dots,
// each of 1 to 5 digits and at most 65535. A fourth number that is not given is 0.
// Returns false, leaving the version's numbers alone, when the text is anything else; its path is
// never touched.
bool parseUpdateVersion(std::string_view text, DllCandidate& version);

}  // namespace zuvia
