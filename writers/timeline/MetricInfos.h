#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "formats/pwr_format.h"
#include "writers/host/Metric.h"
#include "writers/timeline/DescriptionInfos.h"
#include "writers/timeline/InfoRecords.h"
#include "writers/timeline/QuantityInfos.h"
#include "writers/timeline/TimelineGroups.h"

/// The class that the timeline file gives to a metric, by its kind and whether its values are from
/// a finite set.
pwrfile::MetricClass metricClassOf(const pwr::Metric& metric);

/// Writes what describes the metrics of a timeline file. A metric is announced when its first
/// sample comes, which gives it an id and writes what it refers to; the metric itself is written at
/// the end of the run, when it is known that its data is in the file. (Descriptions precede all
/// data in the file, whenever they are written.)
class MetricInfos {
 public:
  /// Ids of what an announced metric refers to. `quantity` is `pwrfile::kNone` for a metric
  /// without.
  struct Announced {
    std::uint64_t id = pwrfile::kNone;
    std::uint64_t quantity = pwrfile::kNone;
    std::uint64_t tab = pwrfile::kNone;
    std::uint64_t timeline = pwrfile::kNone;
  };

  MetricInfos(InfoRecords& infos, QuantityInfos& quantities, DescriptionInfos& descriptions)
      : infos_(infos), quantities_(quantities), descriptions_(descriptions) {}

  /// The id in the result is `pwrfile::kNone` when the metric cannot be described.
  Announced announce(const pwr::Metric& metric);
  /// Writes an announced metric with its relations and states. Returns 0, or 1 on failure.
  int write(const pwr::Metric& metric, const Announced& announced);

 private:
  struct Relation {
    std::string_view typeName;
    std::string_view shortName;
    std::uint64_t value;
  };

  std::uint64_t tabId_i(std::string_view name);
  std::uint64_t timelineId_i(const TimelineGroups& groups, std::uint64_t tabId);
  std::uint64_t writeGroup_i(const char* kind, std::string_view typeName, std::string_view name,
                             std::uint64_t parent);
  int writeRelations_i(const pwr::Metric& metric, const Announced& announced);
  int writeFields_i(const pwr::Metric& metric, std::uint64_t metricId);
  int writeRelation_i(const pwr::Metric& metric, std::uint64_t metricId, const Relation& relation);
  int writeStates_i(const pwr::Metric& metric, std::uint64_t metricId);
  int writeState_i(const std::string& name, std::uint64_t color, std::uint64_t metricId);

  InfoRecords& infos_;
  QuantityInfos& quantities_;
  DescriptionInfos& descriptions_;
  std::map<std::string_view, std::uint64_t> tabs_;
  std::map<TimelineGroups, std::uint64_t> timelines_;
};
