#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "common/UpdateEntry.h"
#include "zupack/ArchiveWriter.h"

namespace zuvia::zupack {

struct PackOptions {
  std::filesystem::path module;              // becomes zuimpl.dll, whatever it is called
  std::vector<std::string> additions;        // companion files, as parseAddition() takes them
  std::string baseUrl;                       // where the packages lie: "https://host/directory", ASCII
  std::filesystem::path directory;           // where both files are written; made when missing
  std::set<std::string> hostLibraries = {};  // what the host brings beside the libraries of every host; in lower case
  bool force = false;                        // packs what no host could load as well
  std::string version = {};                  // when forced: the version of a module that has none itself
  Progress progress = {};                    // may be empty
};

struct PackResult {
  std::filesystem::path package;
  std::filesystem::path entryFile;
  UpdateEntry entry;
  std::vector<std::string> overridden;  // what spoke against it when it was forced, one line each
};

// Makes zuimpl-<version>.7z and its update entry zuimpl-<version>.json, the version being that of the module's own
// resource. The package depends on the names and contents of its files alone: not on their times and places, nor on the
// order of the additions. What was made has passed every check of a host before it takes its place. Files of
// an earlier run are replaced; there is no entry at any moment that does not fit the package beside it.
// Throws tools::Failure when something cannot be read, would be refused by hosts, could not be loaded by any (with
// status kCheckFailed), or cannot be written; then no entry is left that does not fit, and neither is a half package.
PackResult pack(const PackOptions& options);

}  // namespace zuvia::zupack
