#pragma once

#include <string>

namespace zuvia::test {

// A module as it would be in another version: the bytes of a module file, with the file version in its fixed version
// information changed. So tests have modules of as many versions as they like.
//
// version: four numbers, "2.0.0.47". Throws std::invalid_argument when it is none, or when the module has no fixed
// version information, or has more than one.
std::string withFileVersion(std::string module, const std::string& version);

}  // namespace zuvia::test
