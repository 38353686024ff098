#pragma once

#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace zuvia::zupack {

// Takes one line of a report.
using Say = std::function<void(const std::string& line)>;

// Tells what a package, or a module that lies among its companions, is made of: one fact a line, what it is about in
// front. Nothing is loaded.
//
// hostLibraries: what the host brings beside the libraries of every host; in lower case.
// Returns why no host could load it, one line each; none: nothing that can be seen speaks against it. Throws
// tools::Failure when it cannot be read, is neither of the two, or (with status kCheckFailed) is a package that hosts
// would not unpack.
std::vector<std::string> inspect(const std::filesystem::path& file, const std::set<std::string>& hostLibraries,
                                 const Say& say);

}  // namespace zuvia::zupack
