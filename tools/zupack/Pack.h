#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "common/UpdateEntry.h"

namespace zuvia::zupack {

struct PackOptions {
  std::filesystem::path module;        // becomes zuimpl.dll, whatever it is called
  std::vector<std::string> additions;  // companion files, as parseAddition() takes them
  std::string baseUrl;                 // where the packages lie: "https://host/directory", ASCII
  std::filesystem::path directory;     // where both files are written; made when missing
};

struct PackResult {
  std::filesystem::path package;
  std::filesystem::path entryFile;
  UpdateEntry entry;
};

// Makes zuimpl-<version>.7z and its update entry zuimpl-<version>.json, the version being that of the module's own
// resource. What was made has passed every check of a host before it takes its place. Files of
// an earlier run are replaced; there is no entry at any moment that does not fit the package beside it.
// Throws tools::Failure when something cannot be read, would be refused by hosts, or cannot be written; then no
// entry is left, and neither is a half package.
PackResult pack(const PackOptions& options);

}  // namespace zuvia::zupack
