#pragma once

#include <optional>
#include <string>

#include "common/UpdateEntry.h"

namespace zuvia::tools {

// Where hosts post their configuration request.
inline constexpr const char* kConfigurationPath = "/configs/pc/post";

// What a configuration service answers: the JSON that offers this entry, or that offers nothing. On one line, without
// a line end.
std::string configurationAnswer(const std::optional<UpdateEntry>& entry);

}  // namespace zuvia::tools
