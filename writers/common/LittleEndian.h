#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

/// Puts numbers into byte arrays, and gets them back, in little-endian order, whatever the
/// machine's own is. The caller provides the room; no alignment is needed.

template <typename T>
requires std::is_unsigned_v<T>
inline void putLittleEndian(std::byte* place, T value) {
  if constexpr (std::endian::native == std::endian::little) {
    std::memcpy(place, &value, sizeof(T));
  } else {
    for (std::size_t i = 0; i < sizeof(T); ++i) {
      place[i] = static_cast<std::byte>(static_cast<std::uint8_t>(value >> (8 * i)));
    }
  }
}

template <typename T>
requires std::is_unsigned_v<T>
inline T getLittleEndian(const std::byte* place) {
  T value = 0;
  for (std::size_t i = sizeof(T); i-- > 0;) {
    value = static_cast<T>(static_cast<T>(value << 8U) | static_cast<T>(place[i]));
  }
  return value;
}

static_assert(std::numeric_limits<float>::is_iec559, "reals are written as IEEE-754 binary32");

inline void putLittleEndian(std::byte* place, float value) {
  putLittleEndian(place, std::bit_cast<std::uint32_t>(value));
}
