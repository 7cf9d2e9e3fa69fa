#pragma once

#include <array>
#include <cstddef>
#include <cstring>

/// Copies the first and the last `kSize` of `count` bytes, which overlap unless there are twice as
/// many.
template <std::size_t kSize>
inline void copyEnds(char* to, const char* from, std::size_t count) {
  std::array<char, kSize> first;
  std::array<char, kSize> last;
  std::memcpy(first.data(), from, kSize);
  std::memcpy(last.data(), from + count - kSize, kSize);
  std::memcpy(to, first.data(), kSize);
  std::memcpy(to + count - kSize, last.data(), kSize);
}

/// As memcpy, but without a call for up to 32 bytes: nearly all cells of a table are as short as
/// that, and there the call takes longer than the copy.
inline void copyShort(char* to, const char* from, std::size_t count) {
  if (count > 32) {
    std::memcpy(to, from, count);
  } else if (count >= 16) {
    copyEnds<16>(to, from, count);
  } else if (count >= 8) {
    copyEnds<8>(to, from, count);
  } else if (count >= 4) {
    copyEnds<4>(to, from, count);
  } else if (count >= 2) {
    copyEnds<2>(to, from, count);
  } else if (count == 1) {
    *to = *from;
  }
}
