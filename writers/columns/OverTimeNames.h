#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "writers/columns/OverTimeSeries.h"

/// Names of which no two are the same.
class UniqueNames {
 public:
  /// `name`, or if it was claimed before, with a number behind it: "CPU #2".
  std::string claim(const std::string& name);

 private:
  std::unordered_set<std::string> claimed_;
  std::unordered_map<std::string, unsigned int> latestNumber_;
};

/// What metrics and entities are called where they are told apart by nothing else: metrics by their
/// names, entities by the path of names to them, with a number where another has the same.
class OverTimeNames {
 public:
  const std::string& nameOf(const pwr::MetricDescription* metric);
  /// "" for null. The path has "/" between its names.
  const std::string& nameOf(const pwr::EntityHandle* entity);

 private:
  UniqueNames metricNames_;
  UniqueNames entityNames_;
  std::unordered_map<const pwr::MetricDescription*, std::string> nameByMetric_;
  std::unordered_map<const pwr::EntityHandle*, std::string> nameByEntity_;
};

/// The headings of the columns of such series, no two of which are the same nor `timeName`: "METRIC
/// - ENTITY - DESCRIPTOR (UNIT)", with the entity's own name where that tells them apart, and its
/// path where it does not.
std::vector<std::string> headingsOf(const OverTimeSeriesList& series, const std::string& timeName,
                                    OverTimeNames& names);
