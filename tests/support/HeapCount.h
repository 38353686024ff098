#pragma once

#include <cstddef>

namespace zuvia::test {

// What the heaps of this process hold: those of Windows, from which the C run-time library allocates as well.
struct HeapCount {
  std::size_t blocks = 0;
  std::size_t bytes = 0;
};

// Counts now, while other threads wait for their memory. Throws std::runtime_error when the system does not tell.
HeapCount countHeaps();

}  // namespace zuvia::test
