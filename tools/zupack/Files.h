#pragma once

#include <filesystem>
#include <string>

namespace zuvia::zupack {

// Each throws tools::Failure, which names the file or directory and what is wrong.

// Throws unless it is a file.
void requireFile(const std::filesystem::path& file);

// The MD5 of a file, as hosts compute it: 32 lower-case hexadecimal digits.
std::string digestOf(const std::filesystem::path& file);

// Makes a directory with those above it; one that is there already is left alone.
void makeDirectory(const std::filesystem::path& directory);

// Removes a file; one that is not there is no failure.
void removeFile(const std::filesystem::path& file);

}  // namespace zuvia::zupack
