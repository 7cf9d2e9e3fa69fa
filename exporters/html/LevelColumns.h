#pragma once

#include <string>
#include <vector>

#include "exporters/html/BinGrid.h"
#include "exporters/html/ColumnWriter.h"
#include "exporters/html/MetricSeries.h"
#include "exporters/html/PageLevel.h"

/// Stores the bins of series at every level, in 16 bits a number. Each operation returns the
/// members of the "data" of a series, a JSON object.
class LevelColumns {
 public:
  /// `end`: of the run, in ticks.
  LevelColumns(const BinGrid& grid, std::vector<PageLevel> levels, long long end,
               double ticksPerSecond)
      : grid_(grid), levels_(std::move(levels)), end_(end), ticksPerSecond_(ticksPerSecond) {}

  std::string ofValues(const PageSeries& series, ColumnWriter& columns) const;
  std::string ofStates(const PageSeries& series, ColumnWriter& columns) const;
  std::string ofEvents(const PageSeries& series, ColumnWriter& columns) const;

 private:
  const BinGrid& grid_;
  const std::vector<PageLevel> levels_;
  const long long end_;
  const double ticksPerSecond_;
};
