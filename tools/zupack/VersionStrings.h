#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace zuvia::zupack {

// The texts of a file's version resource, in its first language: name ("FileDescription") and value, UTF-8. Only those
// that are there and not empty; none when there is no such resource.
std::vector<std::pair<std::string, std::string>> versionStrings(const std::filesystem::path& file);

}  // namespace zuvia::zupack
