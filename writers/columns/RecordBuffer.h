#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include "writers/ShortCopy.h"

/// Records in memory, each the number of its bytes (32 bits wide, in the byte order of the machine)
/// and the bytes. Keeps its memory when it is cleared, so that filling it again allocates nothing.
class RecordBuffer {
 public:
  static constexpr std::size_t kLengthSize = sizeof(std::uint32_t);

  /// The text of the record at `start`, the first byte of its length.
  static std::string_view textAt(const char* start) {
    std::uint32_t length = 0;
    std::memcpy(&length, start, kLengthSize);
    return {start + kLengthSize, length};
  }

  void append(std::string_view text) {
    const std::size_t needed = size_ + kLengthSize + text.size();
    if (needed > capacity_) grow(needed);
    const auto length = static_cast<std::uint32_t>(text.size());
    std::memcpy(bytes_.get() + size_, &length, kLengthSize);
    copyShort(bytes_.get() + size_ + kLengthSize, text.data(), text.size());
    size_ = needed;
  }

  /// Appends records that another buffer holds.
  void append(const RecordBuffer& other) {
    const std::size_t needed = size_ + other.size_;
    if (needed > capacity_) grow(needed);
    std::memcpy(bytes_.get() + size_, other.bytes_.get(), other.size_);
    size_ = needed;
  }

  void clear() { size_ = 0; }
  /// Forgets what is behind the first `size` bytes.
  void truncate(std::size_t size) { size_ = size; }
  std::size_t size() const { return size_; }
  const char* data() const { return bytes_.get(); }
  std::string_view view() const { return {bytes_.get(), size_}; }

 private:
  void grow(std::size_t needed);

  std::unique_ptr<char[]> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};
