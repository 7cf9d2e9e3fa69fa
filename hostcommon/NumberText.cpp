#include "hostcommon/NumberText.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <system_error>

namespace pwr {

namespace {

constexpr int kMantissaBits = 52;
constexpr int kExponentBias = 1075;  // of the mantissa read as a whole number
constexpr std::uint64_t kImplicitBit = std::uint64_t{1} << kMantissaBits;

// "00" to "99".
constexpr std::array<char, 200> kDigitPairs = [] {
  std::array<char, 200> pairs{};
  for (std::size_t n = 0; n < 100; ++n) {
    pairs[2 * n] = static_cast<char>('0' + n / 10);
    pairs[2 * n + 1] = static_cast<char>('0' + n % 10);
  }
  return pairs;
}();

char* putPairBefore(char* end, std::uint64_t pair) {
  std::memcpy(end - 2, &kDigitPairs[2 * pair], 2);
  return end - 2;
}

/// Hundredths of `mantissa` / 2^`shift`, rounded half to even. The mantissa has 53 bits at most, so
/// that a hundred of it fit into 64.
std::uint64_t roundedHundredths(std::uint64_t mantissa, int shift) {
  const std::uint64_t scaled = mantissa * 100;
  if (shift > 61) return 0;  // scaled < 2^60, which is a half or less
  // Less than a half is not enough for the next number, a half is if this one is odd. (Without a
  // branch, which nobody could foresee.)
  const std::uint64_t half = std::uint64_t{1} << (shift - 1);
  return (scaled + half - 1 + ((scaled >> shift) & 1U)) >> shift;
}

/// At least as many digits as `value` has before the point.
std::size_t wholeDigits(double value) {
  int exponent = 0;
  std::frexp(value, &exponent);
  return static_cast<std::size_t>(std::max(exponent, 0)) / 3 + 1;
}

}  // namespace

// Exact: no step works on rounded numbers.
char* putTwoDecimals(char* end, double value) {
  const auto bits = std::bit_cast<std::uint64_t>(value);
  const int exponent = static_cast<int>(bits >> kMantissaBits) & 0x7FF;
  if (exponent >= kExponentBias) return nullptr;
  // Zero and the numbers without the implicit bit come out as 0 with it as well.
  const std::uint64_t mantissa = (bits & (kImplicitBit - 1)) | kImplicitBit;
  const std::uint64_t hundredths = roundedHundredths(mantissa, kExponentBias - exponent);

  std::uint64_t whole = hundredths / 100;
  char* first = putPairBefore(end, hundredths - 100 * whole);
  *--first = '.';
  for (; whole >= 100; whole /= 100) first = putPairBefore(first, whole % 100);
  if (whole >= 10) {
    first = putPairBefore(first, whole);
  } else {
    *--first = static_cast<char>('0' + whole);
  }
  if (std::signbit(value)) *--first = '-';
  return first;
}

void appendFixed(std::string& out, double value, int decimals) {
  if (decimals == 2) {
    std::array<char, kTwoDecimalsRoom> text;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    char* const end = text.data() + text.size();
    if (char* const first = putTwoDecimals(end, value); first != nullptr) {
      out.append(first, end);
      return;
    }
  }
  constexpr std::size_t kSignAndPoint = 4;  // or what is not finite: "-inf"
  const std::size_t start = out.size();
  out.resize(start + kSignAndPoint + wholeDigits(value) + static_cast<std::size_t>(decimals));
  const auto result = std::to_chars(out.data() + start, out.data() + out.size(), value,
                                    std::chars_format::fixed, decimals);
  out.resize(static_cast<std::size_t>(result.ptr - out.data()));
}

void appendShortest(std::string& out, double value) {
  std::array<char, 32> buffer{};
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  out.append(buffer.data(), result.ptr);
}

}  // namespace pwr
