#pragma once

#include <algorithm>
#include <cmath>
#include <string>

#include "writers/host/Quantity.h"
#include "writers/host/TableMessage.h"

/// The frequency of a clock as writers count with it: anything but a positive finite number is 1.
inline double usableTicksPerMicrosecond(float told) {
  return std::isfinite(told) && told > 0.0F ? static_cast<double>(told) : 1.0;
}

/// How summary tables show times: they arrive in ticks of the timestamp clock and are written in
/// milliseconds, unless the environment asks for ticks. A column is one of times when its own
/// handle says so; the quantity of the table does not decide, because the table has a column that
/// names its rows as well.
class TimeScale {
 public:
  /// The clock's frequency, as it was told.
  void setTicksPerMicrosecond(float ticksPerMicrosecond) {
    ticksPerMillisecond_ = usableTicksPerMicrosecond(ticksPerMicrosecond) * 1000.0;
  }

  /// Whether the column's times are written in milliseconds.
  bool appliesTo(const pwr::DataHandle* handle) const {
    return !showsTicks_ && pwr::isTime(handle->getQuantity());
  }

  /// Whether any column's are.
  bool appliesTo(const pwr::TableMessage& table) const {
    const auto applies = [this](const pwr::DataHandle* handle) { return appliesTo(handle); };
    return std::ranges::any_of(table.getSharedHandles(), applies) ||
           std::ranges::any_of(table.getHandles(), applies);
  }

  /// Replaces `text`, the text of a cell of the table, by that of its milliseconds if it is a time,
  /// or a range of times, to be written so. `entity` may be null, as in `TableMessage::getField`.
  void scaleCell(const pwr::TableMessage& table, const pwr::EntityHandle* entity,
                 const pwr::DataHandle* handle, std::string& text) const {
    if (!appliesTo(handle)) return;
    const pwr::Data* const cell = table.getField(entity, handle);
    if (cell != nullptr) milliseconds(*cell).toFormattedString(text);
  }

  /// The cell of the column as tables have it: a time in milliseconds, and all else as it is.
  pwr::Data shown(const pwr::DataHandle* handle, const pwr::Data& cell) const {
    if (!appliesTo(handle)) return cell;
    const pwr::Data scaled = milliseconds(cell);
    return scaled.getType() == pwr::DataType::None ? cell : scaled;
  }

  /// A cell that is a time, or a range of times, in milliseconds. None when it is a text.
  pwr::Data milliseconds(const pwr::Data& cell) const {
    double ticks = 0.0;
    if (cell.toReal(ticks) == 0) return pwr::Data(ticks / ticksPerMillisecond_);
    pwr::Data range = cell;
    pwr::Data::RealPair ends;
    if (range.multiplyValue(1.0) != 0 || range.toRealRange(ends) != 0) return {};
    return pwr::Data(
        pwr::Data::RealPair(ends.first / ticksPerMillisecond_, ends.second / ticksPerMillisecond_));
  }

 private:
  const bool showsTicks_ = pwr::showsTicks();
  double ticksPerMillisecond_ = 1000.0;
};
