#pragma once

#include <cstddef>

namespace zuvia::bench {

// How often this program, with the rooms that are linked into it, has asked operator new for memory. Any thread.
std::size_t allocations();

}  // namespace zuvia::bench
