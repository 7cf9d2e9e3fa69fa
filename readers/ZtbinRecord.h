#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "formats/ztbin_format.h"
#include "readers/FormatError.h"

namespace ztbin {

/// One record of a binary stream, and the way to get the next. Knows lengths and byte order, not
/// what the fields mean. Holds one record at a time, so at most 64 KiB.
class ZtbinRecord {
 public:
  explicit ZtbinRecord(std::istream& file) : file_(file), bytes_(kHeaderSize + kMaxBody) {}

  /// Reads the next record; false at the end of the file. Throws FormatError when the file ends
  /// inside a record.
  bool next();

  RecordType type() const { return static_cast<RecordType>(bytes_[kTypeOffset]); }
  /// Size of the whole record in bytes.
  std::size_t size() const { return size_; }
  /// Where the byte `at` of the record is in the file.
  std::uint64_t offset(std::size_t at = 0) const { return start_ + at; }

  /// Throws FormatError unless the record is `size` bytes long.
  void requireSize(std::size_t size, const char* what) const;

  /// Little-endian fields. The caller has checked the size of the record.
  std::uint8_t u8(std::size_t at) const { return bytes_[at]; }
  std::uint16_t u16(std::size_t at) const { return get<std::uint16_t>(at); }
  std::uint32_t u32(std::size_t at) const { return get<std::uint32_t>(at); }
  std::uint64_t u64(std::size_t at) const { return get<std::uint64_t>(at); }
  float f32(std::size_t at) const { return std::bit_cast<float>(u32(at)); }
  /// The bytes from `at` to the end of the record.
  std::string text(std::size_t at) const;

 private:
  template <typename T>
  T get(std::size_t at) const {
    T value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
      value = static_cast<T>(value | static_cast<T>(T{bytes_[at + i]} << (8 * i)));
    }
    return value;
  }
  std::size_t read(std::size_t at, std::size_t count);

  std::istream& file_;
  std::vector<std::uint8_t> bytes_;
  std::uint64_t start_ = 0;
  std::size_t size_ = 0;
};

}  // namespace ztbin
