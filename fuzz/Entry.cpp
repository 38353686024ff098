#include <cstddef>
#include <cstdint>

#include "Targets.h"

// What the fuzzer calls; ZUVIA_FUZZ_TARGET is the function of this program's target.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  zuvia::fuzz::ZUVIA_FUZZ_TARGET({reinterpret_cast<const char*>(bytes), size});
  return 0;
}

// libarchive allocates by the counts that a header claims: beyond 32 MB it is told that there is no memory. Where the
// project's own code asks for as much, the program ends instead.
extern "C" const char* __asan_default_options() {
  return "max_allocation_size_mb=32:allocator_may_return_null=1";
}
