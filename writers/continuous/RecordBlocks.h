#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <vector>

#include "writers/host/Logger.h"

/// A large page, in bytes.
inline constexpr std::size_t kLargePage = std::size_t{2} * 1024 * 1024;

/// Asks the system to back `count` bytes, which are about to be filled, with large pages. Getting
/// memory in small ones takes longer than filling it. Does nothing where `count` is less than a
/// large page. Only advice: without it, or where there are no such pages, everything works just as
/// well.
void preferLargePages(const void* bytes, std::size_t count);

/// Bytes that wait for being written to a file, in the order appended. A list of blocks rather than
/// one growing array: growing copies nothing, and a byte costs little more than a byte of memory.
class RecordBlocks {
 public:
  /// Room for `count` more bytes, which the caller fills. Valid until `clear`. Aligned for a
  /// type of that size when all pieces have the same.
  std::byte* append(std::size_t count) {
    if (static_cast<std::size_t>(end_ - free_) < count) addBlock(count);
    std::byte* const place = free_;
    free_ += count;
    return place;
  }

  /// Goes through what was appended, piece by piece of the same sizes.
  class Cursor {
   public:
    explicit Cursor(const RecordBlocks& buffer) : buffer_(buffer) { enter(0); }
    bool isAtEnd() const { return next_ == end_; }
    const std::byte* take(std::size_t count) {
      const std::byte* const place = next_;
      next_ += count;
      if (next_ == end_) enter(block_ + 1);
      return place;
    }

   private:
    void enter(std::size_t block) {
      block_ = block;
      if (block >= buffer_.blocks_.size()) return;
      next_ = buffer_.blocks_[block].bytes.get();
      end_ = next_ + buffer_.used(buffer_.blocks_[block]);
    }

    const RecordBlocks& buffer_;
    std::size_t block_ = 0;
    const std::byte* next_ = nullptr;
    const std::byte* end_ = nullptr;
  };

  std::size_t size() const;
  /// Hands all bytes to `output`; they stay here. Returns 0, or 1 when they were not all taken.
  int writeTo(pwr::Logger& output) const;
  /// Forgets all bytes and gives their memory back.
  void clear();

 private:
  struct Free {
    std::align_val_t alignment;
    void operator()(std::byte* bytes) const { ::operator delete(bytes, alignment); }
  };
  struct Block {
    std::unique_ptr<std::byte, Free> bytes;
    std::size_t used = 0;  ///< set when the next block begins
  };

  static Block makeBlock(std::size_t capacity);
  void addBlock(std::size_t count);
  /// Bytes in use of a block.
  std::size_t used(const Block& block) const {
    return &block == &blocks_.back() ? static_cast<std::size_t>(free_ - block.bytes.get())
                                     : block.used;
  }

  std::vector<Block> blocks_;
  std::byte* free_ = nullptr;  ///< rest of the last block, up to `end_`
  std::byte* end_ = nullptr;
};
