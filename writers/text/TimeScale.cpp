#include "writers/text/TimeScale.h"

#include <cmath>

#include "writers/host/HostFunctions.h"
#include "writers/host/Quantity.h"

TimeScale::TimeScale() : showsTicks_(pwr::check_env("PW_DO_TIMELINE_TSC")) {}

void TimeScale::setTicksPerMicrosecond(float ticksPerMicrosecond) {
  const bool usable = std::isfinite(ticksPerMicrosecond) && ticksPerMicrosecond > 0.0F;
  ticksPerMicrosecond_ = usable ? ticksPerMicrosecond : 1.0F;
}

bool TimeScale::appliesTo(const pwr::Quantity* quantity) const {
  return pwr::isTime(quantity) && !showsTicks_;
}

void TimeScale::scaleCell(const pwr::TableMessage& table, const pwr::EntityHandle* entity,
                          const pwr::DataHandle* handle, std::string& text) const {
  const pwr::Quantity* const own = handle->getQuantity();
  if (!appliesTo(own != nullptr ? own : table.getQuantity())) return;
  const pwr::Data* const cell = table.getField(entity, handle);
  double ticks = 0.0;
  if (cell == nullptr || cell->toReal(ticks) != 0) return;
  pwr::Data(ticks / (static_cast<double>(ticksPerMicrosecond_) * 1000.0)).toFormattedString(text);
}
