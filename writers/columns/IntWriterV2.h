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

#include "writers/columns/ElementMap.h"
#include "writers/columns/TableFile.h"
#include "writers/columns/TraceTable.h"
#include "writers/columns/TraceValue.h"
#include "writers/columns/TracedCells.h"
#include "writers/host/WriterPlugin.h"

/// Writes every sample of every metric into one "_trace.csv" file: a table for each metric and
/// entity, and for each derived view of it, printed when the output is closed. The format:
/// docs/formats/trace.md.
class IntWriterV2 : public WriterPlugin {
 public:
  IntWriterV2();
  ~IntWriterV2() override;

  int openOutput(const std::string& baseName, bool continuous) override;
  int closeOutput() override;

 protected:
  /// Which views of a residency metric are written.
  enum class ResidencyViews : std::uint16_t { Both = 0, Percentage = 1, Time = 2 };
  /// The tables that come from one metric and entity, in the order in which they are printed.
  enum View : unsigned int { kPlainView = 0, kDerivedView = 1, kPercentageView = 2, kViewCount };

  /// For a derived writer, which adds its own capability.
  IntWriterV2(const std::string& guid, const std::string& extension);

  int writeMessage(const pwr::Metric& metric) override;
  int writeMessage(const pwr::SystemMessage& message) override;

  // The next two are the first virtual operations behind those of WriterPlugin, in this order.

  /// Takes a sample of a sampled metric into the tables of one view. `quantity` is that of the
  /// values that the mode makes; null when there is none. Always returns 0: what cannot be shown is
  /// skipped and logged.
  virtual int buildSampledTable(const pwr::Metric& metric, unsigned int view, TraceMode mode,
                                const pwr::Quantity* quantity, const std::string& titleSuffix,
                                const std::string& placeholder);
  /// Takes events of a traced metric. Always returns 0.
  virtual int buildTracedTable(const pwr::Metric& metric);

  void selectResidencyViews(unsigned int metricId, ResidencyViews views) {
    residencySelection_[metricId] = views;
  }
  /// True, with a warning, when the sample is older than the collection.
  bool precedesStart(const pwr::Metric& metric) const;
  /// The time of a message's elements as the sampled tables show it.
  const CellText& formatTime(std::uint64_t timestamp) {
    if (showsTicks_) return formatTicks(timestamp);
    time_.setNumber(clock_.microsecondsAt(timestamp), timeMemory_);
    return time_;
  }
  std::string timeColumnName() const;

  TableFile& file() { return file_; }
  const TraceClock& clock() const { return clock_; }

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
  /// The second key is the view, or of a traced metric the entity.
  using TableMap = std::map<TableKey, std::map<std::uint64_t, std::unique_ptr<TraceTable>>>;
  struct Place {
    TraceTable* table;
    ColumnStore::Column column;
  };
  using PlaceMap = ElementMap<Place>;
  using MetricPlaces = std::array<PlaceMap, kViewCount>;
  struct ViewDescription {
    unsigned int number;
    TraceMode mode;
    const pwr::Quantity* quantity;
    const std::string& titleSuffix;
    const std::string& placeholder;
  };

  void buildCounterTables(const pwr::Metric& metric);
  void buildResidencyTables(const pwr::Metric& metric);
  Place* addSampledPlace(const PlaceMap::Key& key, const pwr::Metric& metric,
                         const pwr::DataElement& element, const ViewDescription& view);
  Place* addTracedPlace(const PlaceMap::Key& key, const pwr::Metric& metric,
                        const pwr::DataElement& element);
  TraceTable* findTable(const TableKey& key, std::uint64_t view) const;
  /// Null, with the loss noted, when the table's store cannot be made.
  TraceTable* addTable(const TableKey& key, std::uint64_t view, const std::string& title,
                       const std::string& placeholder, const std::string& timeColumn);
  PlaceMap& placesOf(const pwr::Metric& metric, unsigned int view) {
    const unsigned int id = metric.getId();
    if (latestPlaces_ == nullptr || latestMetric_ != id) {
      latestMetric_ = id;
      latestPlaces_ = places_[id].data();
    }
    return latestPlaces_[view];
  }
  const CellText& formatTicks(std::uint64_t timestamp);
  const CellText& formatDuration(std::uint64_t ticks) {
    if (ticks != durationTicks_) {
      durationTicks_ = ticks;
      duration_.setNumber(clock_.milliseconds(ticks), durationMemory_);
    }
    return duration_;
  }

  const bool showsTicks_;
  const bool showsResidencyTicks_;
  TableFile file_;
  TraceClock clock_;
  TableMap tables_;
  std::map<unsigned int, ResidencyViews> residencySelection_;
  // What was looked up or formatted before, so that most samples do neither.
  std::unordered_map<unsigned int, MetricPlaces> places_;
  unsigned int latestMetric_ = 0;
  PlaceMap* latestPlaces_ = nullptr;  // one for each view
  std::vector<TraceTable*> begunRows_;
  TracedCells tracedCells_;
  CellText time_;
  std::string timeMemory_;
  CellText duration_;
  std::string durationMemory_;
  std::string valueMemory_;
  std::optional<std::uint64_t> durationTicks_;  // of what `duration_` shows
};
