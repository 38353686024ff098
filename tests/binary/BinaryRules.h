#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "binary/PeFile.h"

namespace zuvia::test {

// What a finished program or module is held to. Each rule lists what breaks it, a line each, and
// throws std::runtime_error where the file cannot be read.
using Faults = std::vector<std::string>;

// Loaded at a random address over the whole space, data never runs, no section is both written and run or shared with
// other processes.
Faults hardeningFaults(const PeFile& file);

// Loads nothing but the system's own libraries and those that are allowed beside them (lower case).
Faults importFaults(const PeFile& file, const std::set<std::string>& allowed);

// Exports these names and nothing else: no other name, no nameless function, no forwarding.
Faults exportFaults(const PeFile& file, const std::set<std::string>& expected);

// Holds none of the paths, and nothing for debuggers.
Faults pathFaults(const PeFile& file, const std::vector<std::string>& paths);

// Its version resource says this version (four numbers), in the fixed part and in the text.
Faults versionFaults(const std::filesystem::path& file, const std::string& version);

}  // namespace zuvia::test
