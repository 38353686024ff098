#pragma once

#include <cstdint>

namespace zuvia {

// What a package may measure: on the wire, read into memory, one entry of it, all entries together.
inline constexpr int64_t kMaxPackageBytes = 104'857'600;  // 100 MiB

}  // namespace zuvia
