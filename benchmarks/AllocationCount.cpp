// Replaces the operators of the whole program. A file of its own: where the compiler sees how they
// are made, it takes uses of malloc and free for mismatched pairs.

#include "benchmarks/AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::uint64_t> g_count{0};
std::atomic<std::uint64_t> g_bytes{0};

void* counted(void* storage, std::size_t size) {
  g_count.fetch_add(1, std::memory_order_relaxed);
  g_bytes.fetch_add(size, std::memory_order_relaxed);
  if (storage != nullptr) return storage;
  throw std::bad_alloc();
}

}  // namespace

std::uint64_t allocationCount() {
  return g_count;
}

std::uint64_t allocatedBytes() {
  return g_bytes;
}

void* operator new(std::size_t size) {
  return counted(std::malloc(size), size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  void* storage = nullptr;
  const auto boundary = static_cast<std::size_t>(alignment);
  return counted(posix_memalign(&storage, boundary, size) == 0 ? storage : nullptr, size);
}
void operator delete(void* storage) noexcept {
  std::free(storage);
}
void operator delete(void* storage, std::size_t /*size*/) noexcept {
  std::free(storage);
}
void operator delete(void* storage, std::align_val_t /*alignment*/) noexcept {
  std::free(storage);
}
void operator delete(void* storage, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  std::free(storage);
}
