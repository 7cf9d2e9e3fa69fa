#include "writers/continuous/LargePages.h"

#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

void preferLargePages([[maybe_unused]] const void* bytes, [[maybe_unused]] std::size_t count) {
#if defined(__linux__)
  if (count < kLargePage) return;
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto start = reinterpret_cast<std::uintptr_t>(bytes);
  const std::uintptr_t skipped = (page - start % page) % page;
  madvise(const_cast<char*>(static_cast<const char*>(bytes)) + skipped, count - skipped,
          MADV_HUGEPAGE);
#endif
}
