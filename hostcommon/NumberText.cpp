#include "hostcommon/NumberText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

#include "hostcommon/TwoDecimals.h"

namespace pwr {

namespace {

/// Without the sign that a number may have which is none.
double withoutSignOfNan(double value) {
  return std::isnan(value) ? std::numeric_limits<double>::quiet_NaN() : value;
}

/// At least as many digits as `value` has before the point.
std::size_t wholeDigits(double value) {
  int exponent = 0;
  std::frexp(value, &exponent);
  return static_cast<std::size_t>(std::max(exponent, 0)) / 3 + 1;
}

}  // namespace

void appendFixed(std::string& out, double value, int decimals) {
  if (decimals == 2) {
    if (const TwoDecimals number(value); number.isCovered()) {
      const std::size_t start = out.size();
      out.resize(start + TwoDecimals::kRoom);
      out.resize(static_cast<std::size_t>(number.put(out.data() + start) - out.data()));
      return;
    }
  }
  constexpr std::size_t kSignAndPoint = 4;  // or what is not finite: "-inf"
  const std::size_t start = out.size();
  out.resize(start + kSignAndPoint + wholeDigits(value) + static_cast<std::size_t>(decimals));
  const auto result = std::to_chars(out.data() + start, out.data() + out.size(),
                                    withoutSignOfNan(value), std::chars_format::fixed, decimals);
  out.resize(static_cast<std::size_t>(result.ptr - out.data()));
}

void appendShortest(std::string& out, double value) {
  std::array<char, 32> buffer{};
  const auto result =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), withoutSignOfNan(value));
  out.append(buffer.data(), result.ptr);
}

}  // namespace pwr
