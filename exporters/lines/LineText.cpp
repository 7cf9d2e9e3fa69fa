#include "exporters/lines/LineText.h"

#include <array>
#include <charconv>
#include <cmath>

#include "hostcommon/NumberText.h"

namespace lines {

ValueText::ValueText(const pwr::BaseUnit& unit) : unit_(unit) {
  std::uint64_t power = 1;
  for (unsigned int decimals = 0; decimals <= 15; ++decimals, power *= 10) {
    if (unit.factor != 1.0 || unit.divisor != static_cast<double>(power)) continue;
    isDecimal_ = true;
    decimals_ = decimals;
    divisor_ = power;
  }
}

ValueText::Result ValueText::append(std::string& text, double number) const {
  const double inBaseUnit = unit_.of(number);
  if (!std::isfinite(inBaseUnit)) return Result::LeftOut;
  pwr::appendShortest(text, inBaseUnit);
  return Result::Spelled;
}

ValueText::Result ValueText::appendOther(std::string& text, const pwr::Data& number) const {
  long long integer = 0;
  double real = 0.0;
  if (number.getType() == pwr::DataType::Int && number.toInt(integer) == 0) {
    const auto wide = static_cast<std::uint64_t>(integer);
    return appendInteger(text, integer < 0, integer < 0 ? 0 - wide : wide);
  }
  return number.toReal(real) == 0 ? append(text, real) : Result::LeftOut;
}

ValueText::Result ValueText::appendInteger(std::string& text, bool isNegative,
                                           std::uint64_t magnitude) const {
  if (isDecimal_ && magnitude < kMostDecimal) {
    appendDecimal(text, isNegative, magnitude);
    return Result::Spelled;
  }
  const auto real = static_cast<double>(magnitude);
  const Result result = append(text, isNegative ? -real : real);
  return result == Result::Spelled && magnitude > kMostExact ? Result::Rounded : result;
}

void ValueText::appendDecimal(std::string& text, bool isNegative, std::uint64_t magnitude) const {
  std::array<char, 32> room;
  char* end = room.data();
  if (isNegative) *end++ = '-';
  const std::uint64_t whole = magnitude / divisor_;
  std::uint64_t rest = magnitude - whole * divisor_;
  end = std::to_chars(end, room.data() + room.size(), whole).ptr;
  if (rest != 0) {
    *end = '.';
    for (char* digit = end + decimals_; digit != end; --digit) {
      *digit = static_cast<char>('0' + rest % 10);
      rest /= 10;
    }
    end += decimals_ + 1;
    while (end[-1] == '0') --end;
  }
  text.append(room.data(), end);
}

}  // namespace lines
