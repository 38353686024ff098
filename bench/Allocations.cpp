#include "Allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace zuvia::bench {
namespace {

std::atomic<std::size_t> count = 0;

void* allocate(std::size_t size) noexcept {
  ++count;
  return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

std::size_t allocations() {
  return count;
}

}  // namespace zuvia::bench

// The other forms come down to these.
void* operator new(std::size_t size) {
  if (void* const memory = zuvia::bench::allocate(size)) return memory;
  throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return zuvia::bench::allocate(size);
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
