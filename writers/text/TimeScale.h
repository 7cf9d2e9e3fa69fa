#pragma once

#include <string>

#include "writers/host/TableMessage.h"

/// How summary tables show times: they arrive in ticks of the timestamp clock and are written in
/// milliseconds, unless the environment switch PW_DO_TIMELINE_TSC asks for ticks.
class TimeScale {
 public:
  /// Reads the environment switch.
  TimeScale();

  /// The clock's frequency; anything but a positive finite number counts as 1.
  void setTicksPerMicrosecond(float ticksPerMicrosecond);

  /// Whether numbers of this quantity, which may be null, are shown in milliseconds.
  bool appliesTo(const pwr::Quantity* quantity) const;

  /// Replaces `text`, the text of a cell of the table, by that of its milliseconds if the cell is a
  /// time to be shown so: a number whose column (or, when that has no quantity, whose table) is of
  /// the quantity time. `entity` may be null, as in `TableMessage::getField`.
  void scaleCell(const pwr::TableMessage& table, const pwr::EntityHandle* entity,
                 const pwr::DataHandle* handle, std::string& text) const;

 private:
  const bool showsTicks_;
  float ticksPerMicrosecond_ = 1.0F;
};
