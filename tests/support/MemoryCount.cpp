#include "support/MemoryCount.h"

#include <windows.h>
// After windows.h.
#include <psapi.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace zuvia::test {
namespace {

void addHeap(HANDLE heap, MemoryCount& count) {
  HeapLock(heap);
  PROCESS_HEAP_ENTRY entry{};
  while (HeapWalk(heap, &entry)) {
    if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) == 0) continue;
    ++count.heapBlocks;
    count.heapBytes += entry.cbData;
  }
  HeapUnlock(heap);
}

}  // namespace

MemoryCount countMemory() {
  std::array<HANDLE, 64> heaps{};
  const DWORD number = GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
  PROCESS_MEMORY_COUNTERS_EX counters{};
  auto* const plain = reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&counters);
  if (number == 0 || number > heaps.size() || !GetProcessMemoryInfo(GetCurrentProcess(), plain, sizeof counters)) {
    throw std::runtime_error("The system does not tell what this process holds");
  }
  MemoryCount count;
  for (DWORD i = 0; i < number; ++i) addHeap(heaps[i], count);
  count.privateBytes = std::max(counters.PrivateUsage, counters.PagefileUsage);
  count.workingSet = counters.WorkingSetSize;
  count.peakWorkingSet = counters.PeakWorkingSetSize;
  return count;
}

}  // namespace zuvia::test
