#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "common/UpdateEntry.h"

namespace zuvia::zupack {

// Makes the checks that a host's updater would make of an entry and its package, in its order and with its code; not
// whether the version is newer than the running one, nor the transfer. The package is unpacked into a temporary
// directory, which is removed again.
//
// passed: called with the name of each check that was passed; may be empty.
// Returns what failed, "NAME: reason", and nothing when all was passed. Throws tools::Failure when a file cannot be
// read. One call at a time: it catches the process's log meanwhile.
using CheckReport = std::function<void(const std::string& name)>;

// The entry as it stands in its file.
std::optional<std::string> verifyFiles(const std::filesystem::path& package, const std::filesystem::path& entryFile,
                                       const CheckReport& passed);

// An entry that has been read already.
std::optional<std::string> verifyEntry(const std::filesystem::path& package, const UpdateEntry& entry,
                                       const CheckReport& passed = {});

}  // namespace zuvia::zupack
