#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

/// Where RapidJSON takes its memory from, wherever it is used here: memory that runs out is told by
/// std::bad_alloc. The library's own allocator hands out a null pointer then, which the library
/// writes to.
class JsonMemory {
 public:
  static constexpr bool kNeedFree = true;

  void* Malloc(std::size_t size) { return Realloc(nullptr, 0, size); }
  void* Realloc(void* old, std::size_t /*oldSize*/, std::size_t size) {
    if (size == 0) {
      std::free(old);
      return nullptr;
    }
    void* const memory = std::realloc(old, size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
  }
  static void Free(void* memory) { std::free(memory); }
};
