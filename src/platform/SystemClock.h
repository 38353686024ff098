#pragma once

#include <cstdint>

namespace zuvia {

inline constexpr int64_t kTicksPerSecond = 10'000'000;
inline constexpr int64_t kTicksPerMillisecond = 10'000;

// The system time in units of 100 ns since 1970-01-01 UTC. Any thread.
int64_t systemTicks();

}  // namespace zuvia
