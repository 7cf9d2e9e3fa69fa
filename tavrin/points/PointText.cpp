#include "tavrin/points/PointText.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <array>
#include <charconv>
#include <cmath>

#include "hostcommon/NumberText.h"
#include "hostcommon/Utf8Text.h"

namespace tavrin {

namespace {

void appendQuotedCsv(std::string& out, std::string_view text) {
  out += '"';
  for (const char letter : text) out.append(letter == '"' ? 2 : 1, letter);
  out += '"';
}

void appendJson(std::string& out, std::string_view text) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  out.append(buffer.GetString(), buffer.GetSize());
}

template <typename Whole>
void appendWhole(std::string& out, Whole number) {
  std::array<char, 24> digits{};
  out.append(digits.data(),
             std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
}

}  // namespace

void appendText(std::string& out, std::string_view text, PointFormat format) {
  const std::string valid = pwr::validUtf8(text);
  if (format == PointFormat::JsonLines) return appendJson(out, valid);
  if (valid.find_first_of(",\"\r\n") == std::string::npos) {
    out += valid;
  } else {
    appendQuotedCsv(out, valid);
  }
}

void appendNothing(std::string& out, PointFormat format) {
  if (format == PointFormat::JsonLines) out += "null";
}

void appendNumber(std::string& out, unsigned long long number) {
  appendWhole(out, number);
}

void appendNumber(std::string& out, double number, PointFormat format) {
  if (format == PointFormat::JsonLines && !std::isfinite(number)) {
    out += "null";
  } else {
    pwr::appendShortest(out, number);
  }
}

void appendValue(std::string& out, const pwr::Data& value, PointFormat format) {
  long long integer = 0;
  unsigned long long natural = 0;
  double real = 0.0;
  std::string text;
  switch (value.getType()) {
    case pwr::DataType::None:
      return appendNothing(out, format);
    case pwr::DataType::Int:
      value.toInt(integer);
      return appendWhole(out, integer);
    case pwr::DataType::UInt:
      value.toUInt(natural);
      return appendWhole(out, natural);
    case pwr::DataType::Real:
      value.toReal(real);
      return appendNumber(out, real, format);
    default:
      value.toString(text);
      return appendText(out, text, format);
  }
}

void appendSeconds(std::string& out, long long nanoseconds) {
  constexpr unsigned long long kPerSecond = 1'000'000'000;
  const bool isNegative = nanoseconds < 0;
  const unsigned long long size = isNegative ? 0ULL - static_cast<unsigned long long>(nanoseconds)
                                             : static_cast<unsigned long long>(nanoseconds);
  if (isNegative) out += '-';
  appendWhole(out, size / kPerSecond);
  // The leading digit, which keeps the zeros behind it, becomes the point.
  const std::size_t point = out.size();
  appendWhole(out, kPerSecond + size % kPerSecond);
  out[point] = '.';
}

}  // namespace tavrin
