#include "exporters/html/SeriesTotals.h"

#include <algorithm>
#include <cmath>

void SeriesTotals::add(const PagePoint& point, bool isSampled) {
  if (isSampled && point.hasOwnLength) noteInterval(point);
  const long long end = point.start + point.length;
  firstStart_ = points_ == 0 ? point.start : std::min(firstStart_, point.start);
  lastEnd_ = points_ == 0 ? end : std::max(lastEnd_, end);
  ++points_;
}

/// Clocks of those who sample by sleeping drift: a gap is longer than half of the interval.
void SeriesTotals::noteInterval(const PagePoint& point) {
  constexpr double kLong = 1.8;
  constexpr double kWeight = 1.0 / 16;
  constexpr std::size_t kFewest = 4;
  const long long missing = point.start - lastEnd_;
  if (points_ > 0 && missing > point.length / 2) {
    ++gaps_;
    gapTicks_ += missing;
  }
  const auto length = static_cast<double>(point.length);
  if (points_ == 0) usualLength_ = length;
  const double bounded = std::min(length, kLong * usualLength_);
  if (points_ >= kFewest && length > bounded) ++longIntervals_;
  usualLength_ += kWeight * (bounded - usualLength_);
}

void SeriesTotals::addValue(const PagePoint& point, const ValueScale& scale,
                            double ticksPerSecond) {
  const auto length = static_cast<double>(point.length);
  ++values_;
  sum_ += point.value;
  weightedSum_ += point.value * length;
  covered_ += length;
  if (scale.isRate && point.length == 0) return;
  const double shown = point.value * scale.factor / (scale.isRate ? length / ticksPerSecond : 1.0);
  if (!std::isfinite(shown)) return;
  minimum_ = hasRange_ ? std::min(minimum_, shown) : shown;
  maximum_ = hasRange_ ? std::max(maximum_, shown) : shown;
  hasRange_ = true;
}

double SeriesTotals::mean() const {
  if (covered_ > 0.0) return weightedSum_ / covered_;
  return values_ == 0 ? 0.0 : sum_ / static_cast<double>(values_);
}

void SeriesTotals::merge(const SeriesTotals& other) {
  if (other.points_ == 0) return;
  firstStart_ = points_ == 0 ? other.firstStart_ : std::min(firstStart_, other.firstStart_);
  lastEnd_ = points_ == 0 ? other.lastEnd_ : std::max(lastEnd_, other.lastEnd_);
  points_ += other.points_;
  values_ += other.values_;
  sum_ += other.sum_;
  weightedSum_ += other.weightedSum_;
  covered_ += other.covered_;
  if (other.hasRange_) {
    minimum_ = hasRange_ ? std::min(minimum_, other.minimum_) : other.minimum_;
    maximum_ = hasRange_ ? std::max(maximum_, other.maximum_) : other.maximum_;
    hasRange_ = true;
  }
  gaps_ += other.gaps_;
  gapTicks_ += other.gapTicks_;
  longIntervals_ += other.longIntervals_;
}
