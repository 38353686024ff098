#pragma once

namespace zuvia::bench {

// What the module answers to each command, 64 bytes.
inline constexpr const char* kAnswer = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

// Its export benchRaise: raises an event for the plugin that listens.
using RaiseFunction = void(const char* name, const char* data);
inline constexpr const char* kRaiseExport = "benchRaise";

}  // namespace zuvia::bench
