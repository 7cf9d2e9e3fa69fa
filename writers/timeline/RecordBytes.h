#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "formats/pwr_format.h"
#include "writers/common/LittleEndian.h"

/// A real without its fraction, as a 64-bit integer. Negative numbers are in two's complement; what
/// no 64 bits can hold becomes the nearest number that they can, and what is no number becomes 0.
inline std::uint64_t truncatedReal(double value) {
  constexpr double kTopBit = 9223372036854775808.0;
  if (std::isnan(value)) return 0;
  if (value >= 2 * kTopBit) return UINT64_MAX;
  if (value >= kTopBit) {
    return static_cast<std::uint64_t>(value - kTopBit) | std::uint64_t{1} << 63U;
  }
  return static_cast<std::uint64_t>(value > -kTopBit ? static_cast<std::int64_t>(value)
                                                     : INT64_MIN);
}

/// A fixed record under construction, filled field by field.
class RecordBytes {
 public:
  template <typename T>
  void put(T value) {
    std::array<std::byte, sizeof(T)> field{};
    putLittleEndian(field.data(), value);
    for (const std::byte byte : field) bytes_ += static_cast<char>(byte);
  }
  /// The header; `expectedSize` is the size that the whole record should come to.
  void putHeader(pwrfile::FixedRecord id, std::size_t expectedSize) {
    put(pwrfile::kFixedMark);
    put(static_cast<std::uint16_t>(expectedSize - pwrfile::kFixedLengthLess));
    put(static_cast<std::uint16_t>(id));
    put(pwrfile::kFixedVersionValue);
  }
  void putText(std::string_view text) { bytes_ += text; }
  void putZeroes(std::size_t count) { bytes_.append(count, '\0'); }

  /// Whether the record is as long as its header says: one that needs more than 16 bits never is.
  bool hasStatedSize() const {
    const auto stated = getLittleEndian<std::uint16_t>(data() + pwrfile::kFixedLength);
    return size() == stated + pwrfile::kFixedLengthLess;
  }
  const std::byte* data() const { return reinterpret_cast<const std::byte*>(bytes_.data()); }
  std::size_t size() const { return bytes_.size(); }

 private:
  std::string bytes_;
};
