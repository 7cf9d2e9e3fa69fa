#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace pwr {

/// A real number as tables show it: with two decimals, rounded as printf does (half to even, of the
/// exact value). Its text is made in registers, so that it can be written straight to where it
/// belongs.
class TwoDecimals {
 public:
  /// How many bytes `put` may write to, in all.
  static constexpr std::size_t kRoom = 24;

  /// No number: not covered.
  TwoDecimals() = default;
  explicit TwoDecimals(double value) { set(value); }

  /// Numbers whose first digits are those of the number before, as times are, take less.
  void set(double value) {
    constexpr double kUnit = 0x1p52;  // added to a smaller number, it leaves a whole one
    isNegative_ = static_cast<std::size_t>(std::signbit(value));
    const double scaled = std::abs(value) * 100.0;
    const double sum = scaled + kUnit;
    const std::uint64_t hundredths =
        std::bit_cast<std::uint64_t>(sum) - std::bit_cast<std::uint64_t>(kUnit);
    // Below 2^40 the product is off by 2^-13 at most: far from a half that decides nothing.
    const bool isClear = std::abs(scaled - (sum - kUnit)) < 0.499;
    if (isClear && hundredths < kEightDigits) {
      setShort(hundredths);
    } else if (isClear && hundredths < std::uint64_t{1} << 40U) {
      setLong(hundredths);
    } else {
      setExactly(std::abs(value));
    }
  }

  /// False for a number that is not finite or 10^14 or more away from zero: it has no text here.
  bool isCovered() const { return leadingSize_ != 0; }
  /// Writes the text and returns where it ends. The rest of the `kRoom` bytes may be overwritten.
  char* put(char* to) const {
    *to = '-';
    to += isNegative_;
    std::memcpy(to, &leading_, sizeof leading_);
    to += leadingSize_;
    std::memcpy(to, &middle_, sizeof middle_);
    to += middleSize_;
    std::memcpy(to, &decimals_, sizeof decimals_);
    return to + sizeof decimals_;
  }

 private:
  static_assert(std::endian::native == std::endian::little, "the first character is the lowest");

  static constexpr std::uint64_t kPoint = '.';
  static constexpr std::uint64_t kEightDigits = 100000000;
  static constexpr std::uint64_t kTooMany = kEightDigits * kEightDigits;

  // "00" to "99".
  static constexpr std::array<std::uint16_t, 100> kPairs = [] {
    std::array<std::uint16_t, 100> pairs{};
    for (unsigned int n = 0; n < 100; ++n) {
      pairs[n] = static_cast<std::uint16_t>(('0' + n / 10) | ('0' + n % 10) << 8U);
    }
    return pairs;
  }();

  /// A number of at most eight digits as text.
  struct EightDigits {
    explicit EightDigits(std::uint64_t number) {
      // A quotient with 32 bits behind the point, rounded up: enough for all eight digits.
      const std::uint64_t first = (number * ((std::uint64_t{1} << 48U) / 1000000 + 1) >> 16U) + 1;
      const std::uint64_t second = 100 * std::uint64_t{static_cast<std::uint32_t>(first)};
      const std::uint64_t third = 100 * std::uint64_t{static_cast<std::uint32_t>(second)};
      const std::uint64_t fourth = 100 * std::uint64_t{static_cast<std::uint32_t>(third)};
      firstSix = kPairs[first >> 32U] | std::uint64_t{kPairs[second >> 32U]} << 16U |
                 std::uint64_t{kPairs[third >> 32U]} << 32U;
      lastTwo = kPairs[fourth >> 32U];
    }

    std::uint64_t firstSix;
    std::uint16_t lastTwo;
  };

  /// How many digits a number of at most eight has before its last `kLast`, and at least one.
  template <unsigned int kLast>
  static std::size_t digitsBefore(std::uint64_t number) {
    // For each width in bits what to add to a number so that the upper half of the sum is the
    // answer: that of the largest such number, or one less below the power of ten among them.
    static constexpr std::array<std::uint64_t, 28> kCounts = [] {
      std::array<std::uint64_t, 28> counts{};
      std::uint64_t power = 10;
      for (unsigned int n = 0; n < kLast; ++n) power *= 10;
      std::uint64_t digits = 1;
      for (unsigned int bits = 0; bits < counts.size(); ++bits) {
        const bool hasPower = power < std::uint64_t{1} << bits;
        if (hasPower) ++digits;
        counts[bits] = (digits << 32U) - (hasPower ? power : 0);
        if (hasPower) power *= 10;
      }
      return counts;
    }();
    const auto bits = static_cast<unsigned int>(std::bit_width(number));
    return (number + kCounts[bits]) >> 32U;
  }

  void setExactly(double magnitude);
  void setFirst(std::uint64_t first);

  void setShort(std::uint64_t hundredths) {
    const EightDigits digits(hundredths);
    first_ = 0;
    leadingSize_ = digitsBefore<2>(hundredths);
    leading_ = digits.firstSix >> (48 - 8 * leadingSize_);
    middle_ = kPoint;
    middleSize_ = 1;
    decimals_ = digits.lastTwo;
  }

  void setLong(std::uint64_t hundredths) {
    const std::uint64_t first = hundredths / kEightDigits;
    const EightDigits digits(hundredths - kEightDigits * first);
    if (first != first_) setFirst(first);
    middle_ = digits.firstSix | kPoint << 48U;
    middleSize_ = 7;
    decimals_ = digits.lastTwo;
  }

  // The text: a sign or none, digits without zeros in front, more digits or none and the point, two
  // digits.
  std::size_t isNegative_ = 0;
  std::size_t leadingSize_ = 0;
  std::size_t middleSize_ = 0;
  std::uint64_t leading_ = 0;
  std::uint64_t middle_ = 0;
  std::uint16_t decimals_ = 0;
  std::uint64_t first_ = 0;  // the number whose digits lead a long text
};

}  // namespace pwr
