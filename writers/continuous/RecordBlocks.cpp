#include "writers/continuous/RecordBlocks.h"

#include <algorithm>
#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace {

// Large against a record, so that the unused ends of the blocks do not matter, and small against
// the memory of a machine, so that an almost empty buffer does not matter either.
constexpr std::size_t kBlockSize = std::size_t{64} * 1024;

}  // namespace

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

std::size_t RecordBlocks::size() const {
  std::size_t size = 0;
  for (const Block& block : blocks_) size += used(block);
  return size;
}

int RecordBlocks::writeTo(pwr::Logger& output) const {
  for (const Block& block : blocks_) {
    if (output.write(block.bytes.get(), used(block)) != 0) return 1;
  }
  return 0;
}

void RecordBlocks::clear() {
  blocks_.clear();
  free_ = nullptr;
  end_ = nullptr;
}

RecordBlocks::Block RecordBlocks::makeBlock(std::size_t capacity) {
  const std::align_val_t alignment{capacity == kLargePage ? kLargePage : alignof(std::max_align_t)};
  auto* const bytes = static_cast<std::byte*>(::operator new(capacity, alignment));
  preferLargePages(bytes, capacity);
  return {{bytes, Free{alignment}}};
}

void RecordBlocks::addBlock(std::size_t count) {
  if (!blocks_.empty()) blocks_.back().used = used(blocks_.back());
  // A buffer that is as large already grows by whole large pages.
  const bool isLarge = blocks_.size() >= kLargePage / kBlockSize;
  const std::size_t capacity = std::max(isLarge ? kLargePage : kBlockSize, count);
  blocks_.push_back(makeBlock(capacity));
  free_ = blocks_.back().bytes.get();
  end_ = free_ + capacity;
}
