#pragma once

#include <cmath>
#include <cstdint>

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
