#include "support/HeapCount.h"

#include <windows.h>

#include <stdexcept>

namespace zuvia::test {

HeapCount countHeaps() {
  constexpr DWORD kMost = 64;
  HANDLE heaps[kMost];
  const DWORD number = GetProcessHeaps(kMost, heaps);
  if (number == 0 || number > kMost) throw std::runtime_error("The system does not list its heaps");
  HeapCount count;
  for (DWORD i = 0; i < number; ++i) {
    HeapLock(heaps[i]);
    PROCESS_HEAP_ENTRY entry{};
    while (HeapWalk(heaps[i], &entry)) {
      if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) == 0) continue;
      ++count.blocks;
      count.bytes += entry.cbData;
    }
    HeapUnlock(heaps[i]);
  }
  return count;
}

}  // namespace zuvia::test
