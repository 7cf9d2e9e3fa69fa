// Replaces the operators of the whole program. A file of its own: where the compiler sees how they
// are made, it takes uses of malloc and free for mismatched pairs.

#include "benchmarks/AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::uint64_t> g_count{0};

}  // namespace

std::uint64_t allocationCount() {
  return g_count;
}

void* operator new(std::size_t size) {
  g_count.fetch_add(1, std::memory_order_relaxed);
  if (void* storage = std::malloc(size)) return storage;
  throw std::bad_alloc();
}
void operator delete(void* storage) noexcept {
  std::free(storage);
}
void operator delete(void* storage, std::size_t /*size*/) noexcept {
  std::free(storage);
}
