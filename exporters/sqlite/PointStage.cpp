#include "exporters/sqlite/PointStage.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

#include "exporters/sqlite/AttributeText.h"
#include "hostcommon/DataVisit.h"
#include "hostcommon/Utf8Text.h"

namespace sqlite {

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

PointStage::Cell PointStage::cellOf(unsigned long long number) {
  if (std::in_range<std::int64_t>(number)) return static_cast<std::int64_t>(number);
  return cellOf(std::to_string(number));
}

PointStage::Cell PointStage::cellOf(const std::string& text) {
  const std::size_t start = texts_.size();
  texts_ += pwr::validUtf8(text);
  return textFrom(start);
}

PointStage::Cell PointStage::valueOf(const pwr::DataElement& element) {
  return pwr::visitData(*element.getValue(), [this](const auto& one) { return cellOf(one); });
}

PointStage::Cell PointStage::attributesOf(const pwr::DataElement& element) {
  const std::size_t start = texts_.size();
  appendAttributes(texts_, element);
  return texts_.size() == start ? Cell(nullptr) : textFrom(start);
}

}  // namespace sqlite
