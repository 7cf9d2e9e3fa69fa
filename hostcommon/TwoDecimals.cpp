#include "hostcommon/TwoDecimals.h"

namespace pwr {

namespace {

constexpr int kMantissaBits = 52;
constexpr int kExponentBias = 1075;  // of the mantissa read as a whole number
constexpr std::uint64_t kImplicitBit = std::uint64_t{1} << kMantissaBits;

/// By whole numbers only.
std::uint64_t exactHundredthsOf(double magnitude) {
  const auto bits = std::bit_cast<std::uint64_t>(magnitude);
  const int shift = kExponentBias - static_cast<int>(bits >> kMantissaBits);
  // A hundred of a mantissa are less than 2^60: a half or less of what is shifted out. Numbers
  // without the implicit bit are among them.
  if (shift > 61) return 0;
  const std::uint64_t scaled = ((bits & (kImplicitBit - 1)) | kImplicitBit) * 100;
  // Less than a half is not enough for the next number, a half is if this one is odd.
  const std::uint64_t half = std::uint64_t{1} << (shift - 1);
  return (scaled + half - 1 + ((scaled >> shift) & 1U)) >> shift;
}

}  // namespace

void TwoDecimals::setExactly(double magnitude) {
  constexpr double kLimit = 1e14;  // a hundred of it are too many
  const std::uint64_t hundredths = magnitude < kLimit ? exactHundredthsOf(magnitude) : kTooMany;
  if (hundredths < kEightDigits) {
    setShort(hundredths);
  } else if (hundredths < kTooMany) {
    setLong(hundredths);
  } else {
    *this = {};
  }
}

void TwoDecimals::setFirst(std::uint64_t first) {
  const EightDigits digits(first);
  first_ = first;
  leadingSize_ = digitsBefore<0>(first);
  leading_ = (digits.firstSix | std::uint64_t{digits.lastTwo} << 48U) >> (64 - 8 * leadingSize_);
}

}  // namespace pwr
