#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "hostcommon/SeriesNames.h"
#include "writers/host/Data.h"

namespace lines {

/// How the numbers of a unit are spelled: in the base unit, in the shortest form that reads back to
/// the same value.
class ValueText {
 public:
  explicit ValueText(const pwr::BaseUnit& unit);

  /// What became of a number.
  enum class Result {
    Spelled,
    Rounded,  ///< an integer beyond 2^53
    LeftOut,  ///< nothing is appended: it is not finite, or no number
  };
  Result append(std::string& text, const pwr::Data& number) const {
    unsigned long long natural = 0;
    if (number.getType() != pwr::DataType::UInt) return appendOther(text, number);
    number.toUInt(natural);
    return appendInteger(text, false, natural);
  }
  Result append(std::string& text, double number) const;

 private:
  static constexpr std::uint64_t kMostExact = std::uint64_t{1} << 53U;
  // Of at most 15 digits no two texts are the same value: the digits as they are make the shortest
  // one. That takes a fifth of the time of the general way, and most values are such.
  static constexpr std::uint64_t kMostDecimal = 1'000'000'000'000'000;

  Result appendInteger(std::string& text, bool isNegative, std::uint64_t magnitude) const;
  void appendDecimal(std::string& text, bool isNegative, std::uint64_t magnitude) const;
  Result appendOther(std::string& text, const pwr::Data& number) const;

  pwr::BaseUnit unit_;
  bool isDecimal_ = false;  // whole numbers have the decimals below in the base unit
  unsigned int decimals_ = 0;
  std::uint64_t divisor_ = 1;
};

}  // namespace lines
