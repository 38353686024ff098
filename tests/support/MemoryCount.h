#pragma once

#include <cstddef>

namespace zuvia::test {

// What this process holds in memory.
struct MemoryCount {
  std::size_t heapBlocks = 0;      // of the heaps of Windows, which the C run-time library allocates from as well
  std::size_t heapBytes = 0;       // in them
  std::size_t privateBytes = 0;    // of the process
  std::size_t workingSet = 0;      // bytes
  std::size_t peakWorkingSet = 0;  // the most that it ever was
};

// Counts now, while no other thread works with a heap that it made itself. Throws std::runtime_error when the system
// does not tell.
MemoryCount countMemory();

}  // namespace zuvia::test
