#include "tavrin/points/PointText.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <array>
#include <charconv>
#include <cmath>
#include <concepts>
#include <cstddef>

#include "hostcommon/DataVisit.h"
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

namespace {

void appendCell(std::string& out, std::nullptr_t, PointFormat format) {
  appendNothing(out, format);
}
template <std::integral Whole>
void appendCell(std::string& out, Whole number, PointFormat /*format*/) {
  appendWhole(out, number);
}
void appendCell(std::string& out, double number, PointFormat format) {
  appendNumber(out, number, format);
}
void appendCell(std::string& out, const std::string& text, PointFormat format) {
  appendText(out, text, format);
}

}  // namespace

void appendValue(std::string& out, const pwr::Data& value, PointFormat format) {
  pwr::visitData(value, [&](const auto& one) { appendCell(out, one, format); });
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
