#pragma once

#include <cstddef>

#include "exporters/common/MetricMeaning.h"
#include "exporters/html/PointLog.h"

/// What is known of a series over the whole run. Sums are of what came, not of what is stored.
class SeriesTotals {
 public:
  /// Adds a point whose length is known, or 0 where nothing tells. `isSampled`: its points follow
  /// one another, and what is between them is a gap.
  void add(const PagePoint& point, bool isSampled);
  /// The same of a number.
  void addValue(const PagePoint& point, const ValueScale& scale, double ticksPerSecond);
  void merge(const SeriesTotals& other);

  std::size_t points() const { return points_; }
  /// Of values, as they came.
  double sum() const { return sum_; }
  /// Weighted by time, as they came; of those that have no length the plain mean.
  double mean() const;
  /// Of what is shown. Only if `hasRange`.
  double minimum() const { return minimum_; }
  double maximum() const { return maximum_; }
  bool hasRange() const { return hasRange_; }
  long long firstStart() const { return firstStart_; }
  /// The latest end, or 0 without points.
  long long lastEnd() const { return lastEnd_; }

  std::size_t gaps() const { return gaps_; }
  long long gapTicks() const { return gapTicks_; }
  /// Intervals that are much longer than usual: passes in between are missing.
  std::size_t longIntervals() const { return longIntervals_; }
  double usualLength() const { return usualLength_; }

 private:
  void noteInterval(const PagePoint& point);

  std::size_t points_ = 0;
  std::size_t values_ = 0;
  double sum_ = 0.0;
  double weightedSum_ = 0.0;
  double covered_ = 0.0;
  double minimum_ = 0.0;
  double maximum_ = 0.0;
  bool hasRange_ = false;
  long long firstStart_ = 0;
  long long lastEnd_ = 0;
  std::size_t gaps_ = 0;
  long long gapTicks_ = 0;
  std::size_t longIntervals_ = 0;
  double usualLength_ = 0.0;
};

/// Gives points whose length is not told the time up to the next one of their series.
class OpenPoint {
 public:
  /// Calls `take` for the point that waited, and for this one unless it has to wait itself.
  template <typename Take>
  void pass(const PagePoint& point, const Take& take) {
    finish(point.start, take);
    if (point.length > 0) return take(point);
    isWaiting_ = true;
    point_ = point;
    ticks_.assign(point.ticks.begin(), point.ticks.end());
  }
  /// The point that waited, if one does, lasts until `end`.
  template <typename Take>
  void finish(long long end, const Take& take) {
    if (!isWaiting_) return;
    isWaiting_ = false;
    point_.ticks = ticks_;
    point_.hasOwnLength = false;
    point_.length = end > point_.start ? end - point_.start : 0;
    take(point_);
  }

 private:
  bool isWaiting_ = false;
  PagePoint point_;
  std::vector<double> ticks_;
};
