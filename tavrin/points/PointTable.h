#pragma once

#include <cstdio>
#include <limits>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "hostcommon/summary/SeriesKey.h"
#include "tavrin/common/MetricSink.h"
#include "tavrin/points/PointText.h"

namespace tavrin {

/// What a table of points may tell of each.
enum class PointColumn {
  Time,        ///< seconds from the start of the collection, negative before it
  Ticks,       ///< the same moment on the timestamp clock, in ticks
  Duration,    ///< seconds that the value is about; nothing where that is not known
  Feature,     ///< tag of the feature: "core-cstate"
  Kind,        ///< of the metric: "delta", "residency", "value", "transition", "event"
  Metric,      ///< name
  Entity,      ///< with those above it: "Package0/Core1/CPU3"; nothing for the whole machine
  Descriptor,  ///< "C6"
  Value,       ///< a number, else a text
  Unit,
  Attributes,  ///< what else is known of the point, as a JSON object
};

/// The columns' names, as the table's head has them: "time", "ticks" and so on.
const std::vector<std::string>& pointColumnNames();

/// Which columns and points a table has.
struct PointChoice {
  std::vector<PointColumn> columns;
  PointFormat format = PointFormat::Csv;
  /// Patterns (`matchesGlob`), of which one has to match: the metric's name or its feature's tag;
  /// the entity's name alone or with those above it. Empty: all.
  std::vector<std::string> metrics;
  std::vector<std::string> entities;
  /// The points from `fromSec` on and before `toSec`, in seconds from the start of the collection.
  double fromSec = -std::numeric_limits<double>::infinity();
  double toSec = std::numeric_limits<double>::infinity();
};

/// Prints the points of a run as a long table, a line per value in the order in which they come.
/// Times that are values are in the unit in which reports show them. Keeps nothing of a point, only
/// what the lines of a series have in common.
///
/// Calls: those of a sink, then `finish`. Each may throw CommandError when nothing can be printed.
class PointTable final : public MetricSink {
 public:
  /// `out` is not owned.
  PointTable(PointChoice choice, std::FILE* out);

  void system(const pwr::SystemMetadata& metadata) override;
  void metric(pwr::Metric& metric) override;

  /// Prints the head, if no system has come, and what still waits.
  void finish();

 private:
  /// What the lines of a series have in common: the texts before each cell that differs.
  struct Series {
    pwr::SeriesKey key{};
    bool isChosen = false;
    std::vector<std::string> texts;
  };
  struct KnownMetric {
    bool isChosen = false;
    bool isTime = false;  ///< its values are ticks
    bool isRate = false;  ///< its durations are not
    std::vector<Series> series;
    std::size_t next = 0;  ///< the place in `series` after the one found last
    std::unordered_map<pwr::SeriesKey, std::size_t, pwr::SeriesKeyHash> places;
  };

  KnownMetric& knownMetric(const pwr::MetricDescription& metric);
  Series& seriesOf(KnownMetric& known, const pwr::MetricDescription& metric,
                   const pwr::SeriesKey& key);
  Series describe(const pwr::MetricDescription& metric, const pwr::SeriesKey& key) const;
  void appendCommon(std::string& text, PointColumn column, const pwr::MetricDescription& metric,
                    const pwr::SeriesKey& key) const;
  void appendOwn(PointColumn column, const KnownMetric& known, const pwr::DataElement& element);
  void appendAttributes(const pwr::DataElement& element);
  void printHead();
  void print();
  double secondsOf(unsigned long long timestamp) const;

  const PointChoice choice_;
  std::vector<PointColumn> own_;  // columns whose cells are each point's own
  std::FILE* const out_;
  std::map<unsigned int, KnownMetric> metrics_;
  unsigned long long start_ = 0;  // of the collection, in ticks
  double ticksPerMicrosecond_ = 1.0;
  unsigned long long timestamp_ = 0;  // of the message
  std::string time_;                  // its text
  std::string lines_;                 // not printed yet
  bool hasHead_ = false;
};

}  // namespace tavrin
