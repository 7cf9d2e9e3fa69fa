#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "exporters/html/BinnedRun.h"
#include "exporters/html/MetricSeries.h"
#include "exporters/html/SeriesChoice.h"

/// Keeps the points of a run in bounded memory: as they came while they are few, and from then on
/// in bins. Of the series, the page shows `kMostSeries` at most; further ones are aggregated, which
/// is always done in bins.
class SeriesStore {
 public:
  /// In bytes, of points as they came and of bins.
  SeriesStore(std::size_t mostMemory, std::size_t mostBinMemory)
      : mostMemory_(mostMemory), mostBinMemory_(mostBinMemory) {}

  void setTicksPerSecond(double ticksPerSecond) { ticksPerSecond_ = ticksPerSecond; }
  double ticksPerSecond() const { return ticksPerSecond_; }

  /// A new series. Valid as long as the store.
  PageSeries& make(MetricSeries& metric, const pwr::EntityHandle* entity,
                   const pwr::DataDescriptor* descriptor, SeriesKind kind);
  void take(PageSeries& series, const PagePoint& point);

  /// Ends the run after `duration` ticks, or with the last point where 0 stands for unknown.
  /// Chooses the series that are shown, and puts late points in order.
  void finish(long long duration);

  // After `finish`:

  /// In ticks; positive.
  long long duration() const { return duration_; }
  bool isBinned() const { return binned_ != nullptr; }
  /// Puts points as they came into bins; they are gone then.
  void toBins();
  /// The bins of the series, if `isBinned`.
  BinnedRun& binned() { return *binned_; }
  const BinnedRun& binned() const { return *binned_; }
  /// The grid that the bins of an aggregate have. Only where there is one.
  const BinGrid& aggregateGrid() const { return (isBinned() ? binned_ : aggregated_)->grid(); }
  /// In the order of their importance, aggregates last.
  const std::vector<PageSeries*>& shown() const { return shown_; }
  /// How many series are neither shown nor part of an aggregate.
  std::size_t leftOut() const { return leftOut_; }
  const std::deque<PageSeries>& all() const { return series_; }

 private:
  void choose();
  bool giveWayTo(const PageSeries& series);
  void fold(PageSeries& series);
  void orderShown();
  PageSeries* aggregateOf(const PageSeries& series);
  void addTotalsOfLog(PageSeries& series, std::optional<long long> end) const;
  void replay(PageSeries& series, BinnedRun& bins, std::optional<long long> end);
  void startBins();
  void takeToBins(PageSeries& series, const PagePoint& point);
  long long originOfBins() const;
  long long extentSoFar() const;

  const std::size_t mostMemory_;
  const std::size_t mostBinMemory_;
  double ticksPerSecond_ = 1e6;
  std::deque<PageSeries> series_;
  std::deque<PageSeries> aggregates_;
  std::unordered_map<std::string, PageSeries*> aggregatesByGroup_;
  Grouping grouping_ = Grouping::MetricAndPackage;
  std::vector<PageSeries*> shown_;
  std::size_t leftOut_ = 0;
  std::size_t memory_ = 0;
  long long duration_ = 0;
  std::unique_ptr<BinnedRun> binned_;
  std::unique_ptr<BinnedRun> aggregated_;  // while the others are not binned
};
