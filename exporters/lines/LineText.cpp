#include "exporters/lines/LineText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "hostcommon/NumberText.h"
#include "hostcommon/Utf8Text.h"

namespace lines {

namespace {

constexpr std::string_view kNoText = "(none)";

bool isControl(char letter) {
  return static_cast<unsigned char>(letter) < 0x20 || letter == 0x7F;
}

bool isSpecial(char letter) {
  return letter == ',' || letter == '=' || letter == ' ';
}

/// The text without the bytes beyond the limit, and without a part of a character at its end.
std::string_view cut(std::string_view text) {
  if (text.size() <= kMostTagText) return text;
  std::size_t size = kMostTagText;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80) --size;
  return text.substr(0, size);
}

}  // namespace

bool appendTag(std::string& tags, std::string_view key, std::string_view value) {
  tags.append(",").append(key).append("=");
  if (value.empty()) value = kNoText;
  const bool isAscii = std::ranges::none_of(
      value, [](char letter) { return static_cast<unsigned char>(letter) >= 0x80; });
  const std::string repaired = isAscii ? std::string() : pwr::validUtf8(value);
  const std::string_view whole = isAscii ? value : repaired;
  const std::string_view valid = cut(whole);
  for (std::size_t i = 0; i < valid.size(); ++i) {
    const char letter = isControl(valid[i]) ? ' ' : valid[i];
    const char next = i + 1 == valid.size() || isControl(valid[i + 1]) ? ' ' : valid[i + 1];
    // Engines differ in what a backslash before one of these, or at the end, means.
    const bool isUnclear = letter == '\\' && (isSpecial(next) || next == '\\');
    if (isSpecial(letter)) tags += '\\';
    tags += isUnclear ? '/' : letter;
  }
  return valid.size() == whole.size();
}

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
