#include "exporters/sqlite/PointStage.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "exporters/sqlite/AttributeText.h"
#include "hostcommon/Utf8Text.h"

namespace sqlite {

namespace {

constexpr std::uint64_t kLargest = std::numeric_limits<std::int64_t>::max();

}  // namespace

void PointStage::insert() {
  std::ranges::sort(order_);
  Insertion row(database_, "INSERT INTO point VALUES (?,?,?,?,?,?)");
  for (const std::uint64_t place : order_) {
    if (!database_.isSound()) break;
    const Point& point = points_[place & std::numeric_limits<std::uint32_t>::max()];
    int column = 0;
    row.bind(++column, static_cast<std::int64_t>(place >> kSeriesShift));
    row.bind(++column, point.time);
    row.bind(++column, point.sequence);
    bind(row, ++column, point.duration);
    bind(row, ++column, point.value);
    bind(row, ++column, point.attributes);
    row.insert();
  }
  points_.clear();
  order_.clear();
  texts_.clear();
}

void PointStage::bind(Insertion& row, int place, const Cell& cell) const {
  if (const auto* const number = std::get_if<std::int64_t>(&cell)) return row.bind(place, *number);
  if (const auto* const real = std::get_if<double>(&cell)) return row.bind(place, *real);
  const auto* const text = std::get_if<Text>(&cell);
  if (text == nullptr) return row.bind(place, nullptr);
  const std::string_view bytes = std::string_view(texts_).substr(text->start, text->size);
  text->isNumber ? row.bindBytes(place, bytes) : row.bind(place, bytes);
}

/// Takes what `texts_` has from `start` on for a cell.
PointStage::Cell PointStage::textFrom(std::size_t start) {
  const bool isLong = texts_.size() - start > kLongText;
  if (isLong) {
    Insertion(database_, "INSERT INTO long_text VALUES (?,?)")
        .add(++longTexts_, texts_.substr(start));
    texts_.resize(start);
    if (texts_.capacity() > 2 * kMostTexts) texts_.shrink_to_fit();
    texts_ += std::to_string(longTexts_);
  }
  return Text{static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(texts_.size() - start),
              isLong};
}

/// No duration is nothing.
PointStage::Cell PointStage::cellOf(unsigned long long ticks) {
  if (ticks == 0) return nullptr;
  return cellOf(pwr::Data(ticks));
}

PointStage::Cell PointStage::cellOf(const pwr::Data& value) {
  long long integer = 0;
  unsigned long long natural = 0;
  double real = 0.0;
  switch (value.getType()) {
    case pwr::DataType::None:
      return nullptr;
    case pwr::DataType::Real:
      value.toReal(real);
      return real;
    case pwr::DataType::Int:
      value.toInt(integer);
      return std::int64_t{integer};
    case pwr::DataType::UInt:
      value.toUInt(natural);
      if (natural <= kLargest) return static_cast<std::int64_t>(natural);
      break;
    default:
      break;
  }
  std::string text;
  value.toString(text);
  const std::size_t start = texts_.size();
  texts_ += pwr::validUtf8(text);
  return textFrom(start);
}

PointStage::Cell PointStage::attributesOf(const pwr::DataElement& element) {
  const std::size_t start = texts_.size();
  appendAttributes(texts_, element);
  return texts_.size() == start ? Cell(nullptr) : textFrom(start);
}

}  // namespace sqlite
