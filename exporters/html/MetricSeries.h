#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "exporters/common/MetricMeaning.h"
#include "exporters/html/PointLog.h"
#include "exporters/html/SeriesBins.h"
#include "exporters/html/SeriesTotals.h"
#include "writers/common/SeriesIndex.h"
#include "writers/host/Metric.h"

/// The texts that the values of a metric take, numbered in the order of their appearance. Beyond a
/// bound, all further ones are "others".
class TextNumbers {
 public:
  std::uint32_t numberOf(std::string_view text);
  const std::vector<std::string>& texts() const { return texts_; }
  bool isFull() const { return isFull_; }
  /// Whether it is the number of all texts that have none of their own.
  bool isShared(std::uint32_t number) const { return isFull_ && texts_[number] == kOthers; }

 private:
  static constexpr std::string_view kOthers = "others";

  std::vector<std::string> texts_;
  std::unordered_map<std::string, std::uint32_t> numbers_;
  std::string shown_;
  std::size_t bytes_ = 0;
  bool isFull_ = false;
};

enum class SeriesKind { Value, States, Events };

struct MetricSeries;

/// What a process, or what stands for several, is called where it has series of its own.
struct SeriesOwner {
  long long pid = -1;
  std::string name;
};

/// A series of the page, or one that is part of another.
struct PageSeries {
  MetricSeries* metric = nullptr;
  const pwr::EntityHandle* entity = nullptr;
  const pwr::DataDescriptor* descriptor = nullptr;
  std::shared_ptr<const SeriesOwner> owner;  ///< of a metric per process
  SeriesKind kind = SeriesKind::Value;
  /// Where its points go: this one, or an aggregate.
  PageSeries* target = this;
  std::size_t members = 0;  ///< of an aggregate
  bool isOfMetric = true;   ///< of an aggregate: all its members are of one metric
  SeriesTotals totals;

  // While points are kept as they are:
  PointLog log;
  // When they are binned:
  OpenPoint open;
  std::unique_ptr<ValueBins> values;
  std::unique_ptr<StateBins> states;
  std::unique_ptr<EventBins> events;
  std::size_t longBins = 0;  ///< how many bins its long points have covered

  // Of residencies: the states of the interval that is being told.
  std::vector<double> gathered;
  long long gatheredLength = 0;

  /// Adds a point of known length, or of none, to the totals.
  void addToTotals(const PagePoint& point, double ticksPerSecond);
};

/// The series of one metric, and what they have in common.
struct MetricSeries {
  MetricSeries(const pwr::MetricDescription* metricDescription, double ticksPerSecond);

  bool isResidency() const { return metric->type == pwr::Metric::MetricType::SampledResidency; }
  bool isSampled() const { return metric->type <= pwr::Metric::MetricType::SampledValue; }

  /// The series of an entity and descriptor by the kinds of their values.
  struct Slot {
    PageSeries* value = nullptr;
    PageSeries* texts = nullptr;
  };

  const pwr::MetricDescription* metric;
  const MetricMeaning meaning;
  const bool hasTicks;  ///< durations are ticks
  TextNumbers states;
  TextNumbers texts;  ///< of events
  std::uint32_t restState = 0;
  SeriesIndex<Slot> slots;
  std::unordered_map<std::string, PageSeries*> owned;
  std::size_t descriptors = 0;  ///< different ones of its values
  std::size_t order = 0;        ///< of its first appearance
};
