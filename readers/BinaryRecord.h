#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <vector>

#include "readers/FormatError.h"

/// The bytes of one record of a binary file, and the place of the record in the file. A format
/// derives from it and adds how the next record is found. Holds one record at a time.
class BinaryRecord {
 public:
  /// Size of the whole record in bytes.
  std::size_t size() const { return size_; }
  /// Where the byte `at` of the record is in the file.
  std::uint64_t offset(std::size_t at = 0) const { return start_ + at; }

  /// Little-endian fields. The caller has checked the size of the record.
  std::uint8_t u8(std::size_t at) const { return bytes_[at]; }
  std::uint16_t u16(std::size_t at) const { return get<std::uint16_t>(at); }
  std::uint32_t u32(std::size_t at) const { return get<std::uint32_t>(at); }
  std::uint64_t u64(std::size_t at) const { return get<std::uint64_t>(at); }
  float f32(std::size_t at) const { return std::bit_cast<float>(u32(at)); }
  std::string text(std::size_t at, std::size_t length) const {
    return {bytes_.begin() + static_cast<std::ptrdiff_t>(at),
            bytes_.begin() + static_cast<std::ptrdiff_t>(at + length)};
  }
  /// The bytes from `at` to the end of the record.
  std::string text(std::size_t at) const { return text(at, size_ - at); }

 protected:
  /// `maxSize`: of a record, in bytes.
  BinaryRecord(std::istream& file, std::size_t maxSize) : file_(file), bytes_(maxSize) {}
  ~BinaryRecord() = default;

  /// The next record begins where this one ends.
  void startNext() {
    start_ += size_;
    size_ = 0;
  }
  void setSize(std::size_t size) { size_ = size; }
  /// Reads `count` bytes of the file to `at`; fewer at its end. Throws FormatError when the file
  /// cannot be read.
  std::size_t read(std::size_t at, std::size_t count);

 private:
  template <typename T>
  T get(std::size_t at) const {
    T value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
      value = static_cast<T>(value | static_cast<T>(T{bytes_[at + i]} << (8 * i)));
    }
    return value;
  }

  std::istream& file_;
  std::vector<std::uint8_t> bytes_;
  std::uint64_t start_ = 0;
  std::size_t size_ = 0;
};
