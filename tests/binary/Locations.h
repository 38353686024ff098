#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace zuvia::test {

// Where this program lies, and with it everything that was built.
std::filesystem::path binaryDirectory();

// The directories of the machine that built this program: sources, output, libraries, home.
std::vector<std::string> machinePaths();

}  // namespace zuvia::test
