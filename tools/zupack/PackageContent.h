#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace zuvia::zupack {

// One file of a package.
struct PackageFile {
  std::string name;            // in the package: UTF-8, parts joined by "/"
  std::filesystem::path file;  // where its content lies
};

inline constexpr const char* kModuleName = "zuimpl.dll";

// Reads an addition of the command line: "FILE" stands at the package's root under its own name,
// "NAME=FILE" under the given one. Backslashes in NAME become "/".
PackageFile parseAddition(const std::string& text);

// Checks what hosts would refuse, or could not put on a disk: names that are not legal, that Windows does not take or
// that meet each other, files that cannot be read, files above the size limits.
// Throws tools::Failure, which names the file and what is wrong.
void checkContent(const std::vector<PackageFile>& files);

}  // namespace zuvia::zupack
