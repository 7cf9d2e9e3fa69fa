#pragma once

#include <cstddef>
#include <vector>

#include "exporters/html/BinGrid.h"
#include "exporters/html/MetricSeries.h"

/// The bins of a run: all its series have the same ones. Their memory is bounded; when the run, or
/// the number of series, outgrows it, bins become wider.
class BinnedRun {
 public:
  /// For points from `origin` to about `end`, in ticks, and the series `joining`, which get their
  /// bins. `mostMemory`: of all bins, in bytes.
  BinnedRun(long long origin, long long end, const std::vector<PageSeries*>& joining,
            std::size_t mostMemory);

  const BinGrid& grid() const { return grid_; }
  /// Gives a further series bins.
  void join(PageSeries& series);
  /// Adds the bins of the series, which is a part of `target` from now on, to those of `target`.
  /// They are lost when it is null.
  void merge(PageSeries& series, PageSeries* target);
  /// Adds a point of known length, or of none, to the bins of the series.
  void add(PageSeries& series, const PagePoint& point);
  /// After the last point: what is too late for the run, which ends at `end`, is left out.
  void finish(long long end);
  /// Half as many bins, twice as wide.
  void halve();

  std::size_t beforeOrigin() const { return beforeOrigin_; }
  std::size_t afterEnd() const { return afterEnd_; }
  /// How many points were made shorter: those of series whose points overlap again and again.
  std::size_t shortened() const { return shortened_; }

 private:
  struct LatePoint {
    PageSeries* series;
    PagePoint point;
    std::vector<double> ticks;
  };

  void makeBins(PageSeries& series) const;
  long long endOfLong(PageSeries& series, long long start, long long end);
  void put(PageSeries& series, const PagePoint& point, long long start, long long end);
  void putStates(PageSeries& series, const PagePoint& point, long long start, long long end);
  bool makeRoom(PageSeries& series, const PagePoint& point, long long end);
  void addLate(long long end);
  void widen();
  void shrink();
  bool isTooLarge() const { return bytesPerBin_ * grid_.capacity() > mostMemory_; }

  const std::size_t mostMemory_;
  BinGrid grid_;
  std::vector<PageSeries*> series_;
  std::size_t bytesPerBin_ = 0;
  long long latest_;  ///< end of what is surely of the run
  std::vector<LatePoint> late_;
  std::size_t beforeOrigin_ = 0;
  std::size_t afterEnd_ = 0;
  std::size_t shortened_ = 0;
};
