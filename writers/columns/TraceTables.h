#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "writers/columns/TableFile.h"
#include "writers/columns/TraceRun.h"
#include "writers/columns/TraceTable.h"
#include "writers/columns/TracedCells.h"
#include "writers/common/SeriesIndex.h"

/// The data trace: all tables of a run, and the file that they are printed to when it is closed.
class TraceTables final : public TraceRun {
 public:
  /// Null, with the cause logged, when the file that will be `path` cannot be created, or no
  /// temporary files.
  static std::unique_ptr<TraceTables> open(const std::string& path, bool showsTicks);

  void addSample(const pwr::Metric& metric, const TraceView& view) override;
  void addEvents(const pwr::Metric& metric) override;
  void noteMissingRate(const pwr::Metric& metric) override;
  int close() override;
  int write(const pwr::SystemMessage& message) override;

 private:
  /// Where the table stands in the file. Tables of a metric as such (traced ones, and those of
  /// samples without entity) precede all that belong to an entity.
  struct TableKey {
    bool ofEntity;
    unsigned int metric;
    std::uint64_t entity;
    bool operator<(const TableKey& other) const {
      return std::tie(ofEntity, metric, entity) <
             std::tie(other.ofEntity, other.metric, other.entity);
    }
  };
  /// The second key is the view, or of a traced metric the entity. Null for a table that was
  /// refused.
  using TableMap = std::map<TableKey, std::map<std::uint64_t, std::unique_ptr<TraceTable>>>;
  /// Where the values of a series go: nowhere without a table.
  struct Place {
    TraceTable* table;
    ColumnStore::Column column;
  };
  using PlaceIndex = SeriesIndex<Place>;
  static constexpr std::size_t kMostViews = 3;
  using MetricPlaces = std::array<PlaceIndex, kMostViews>;

  explicit TraceTables(bool showsTicks) : TraceRun(showsTicks) {}

  Place makeSampledPlace(const pwr::Metric& metric, const pwr::DataElement& element,
                         const TraceView& view);
  Place makeTracedPlace(const pwr::Metric& metric, const pwr::DataElement& element);
  bool formatValue(CellText& value, const pwr::Metric& metric, const pwr::DataElement& element,
                   TraceMode mode);
  void beginRow(TraceTable& table, const CellText& time, std::uint64_t ticks);
  PlaceIndex& placesOf(const pwr::Metric& metric, unsigned int view) {
    const unsigned int id = metric.getId();
    if (latestPlaces_ == nullptr || latestMetric_ != id) {
      latestMetric_ = id;
      latestPlaces_ = places_[id].data();
    }
    return latestPlaces_[view];
  }
  const CellText& formatTime(std::uint64_t timestamp, double time);
  const CellText& formatDuration(std::uint64_t ticks) {
    if (ticks != durationTicks_) {
      durationTicks_ = ticks;
      duration_.setNumber(clock().milliseconds(ticks), durationMemory_);
    }
    return duration_;
  }

  TableFile file_;
  TableMap tables_;
  // What was looked up or formatted before, so that most samples do neither.
  std::unordered_map<unsigned int, MetricPlaces> places_;
  unsigned int latestMetric_ = 0;
  PlaceIndex* latestPlaces_ = nullptr;  // one for each view
  std::vector<TraceTable*> begunRows_;
  TracedCells tracedCells_{*this};
  CellText time_;
  std::string timeMemory_;
  CellText duration_;
  std::string durationMemory_;
  std::string valueMemory_;
  std::optional<std::uint64_t> durationTicks_;  // of what `duration_` shows
};
