#pragma once

#include <string>
#include <string_view>

namespace zuvia::zupack {

// Checks the address under which packages are published. Throws tools::Failure, which names --url, for one that hosts
// refuse or that cannot have names appended.
void checkBaseUrl(std::string_view url);

// Whether a name stands in an address as it is.
bool isUrlName(std::string_view name);

// The address of something below another: both with exactly one "/" in between.
std::string joinUrl(const std::string& base, const std::string& name);

}  // namespace zuvia::zupack
