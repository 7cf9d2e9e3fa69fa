#pragma once

#include <array>
#include <cstddef>
#include <cstring>

/// The number of the next row, from 1: as text, which is all that it is needed for.
class RowNumber {
 public:
  /// How many bytes `put` may write to, in all: the digits of 2^64.
  static constexpr std::size_t kRoom = 20;

  RowNumber() {
    digits_.fill('0');
    increment();
  }
  RowNumber(const RowNumber&) = delete;
  RowNumber& operator=(const RowNumber&) = delete;

  void increment() {
    char* digit = end_ - 1;
    while (*digit == '9') *digit-- = '0';
    ++*digit;
    if (digit < first_) first_ = digit;
  }
  /// Writes the number and returns where it ends. The rest of the `kRoom` bytes may be overwritten.
  char* put(char* to) const {
    std::memcpy(to, first_, kRoom);
    return to + (end_ - first_);
  }

 private:
  // Zeros, then the digits, then as many bytes as `put` copies at most of what is no number.
  std::array<char, 2 * kRoom> digits_{};
  char* const end_ = digits_.data() + kRoom;
  char* first_ = end_;
};
