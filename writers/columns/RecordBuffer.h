#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include "hostcommon/TwoDecimals.h"
#include "writers/ShortCopy.h"

/// Records in memory, each the number of its bytes (32 bits wide, in the byte order of the machine)
/// and the bytes. Keeps its memory when it is cleared, so that filling it again allocates nothing.
class RecordBuffer {
 public:
  static constexpr std::size_t kLengthSize = sizeof(std::uint32_t);
  /// The text of the record behind the cells of a row.
  static constexpr std::string_view kRowComplete = "\n";

  /// The text of the record at `start`, the first byte of its length.
  static std::string_view textAt(const char* start) {
    std::uint32_t length = 0;
    std::memcpy(&length, start, kLengthSize);
    return {start + kLengthSize, length};
  }

  void append(std::string_view text) {
    copyShort(startRecord(text.size(), text.size()), text.data(), text.size());
    size_ += kLengthSize + text.size();
  }

  /// `number` has to be covered.
  void append(const pwr::TwoDecimals& number) {
    const std::size_t size = number.size();
    number.put(startRecord(size, pwr::TwoDecimals::kRoom));
    size_ += kLengthSize + size;
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
  /// Writes the length of a record behind the others, and returns where its text goes: to `room`
  /// bytes.
  char* startRecord(std::size_t length, std::size_t room) {
    const std::size_t needed = size_ + kLengthSize + room;
    if (needed > capacity_) grow(needed);
    char* const start = bytes_.get() + size_;
    const auto count = static_cast<std::uint32_t>(length);
    std::memcpy(start, &count, kLengthSize);
    return start + kLengthSize;
  }
  void grow(std::size_t needed);

  std::unique_ptr<char[]> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};
