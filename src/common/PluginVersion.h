#pragma once

namespace zuvia {

// The version of this module; ZUVIA_VERSION comes from the build, which gives it to the version resource too.
inline constexpr const char* kPluginVersion = ZUVIA_VERSION;             // four numbers
inline constexpr const char* kPluginShortVersion = ZUVIA_SHORT_VERSION;  // the first three of them

}  // namespace zuvia
