#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include "exporters/html/MetricSeries.h"

/// So many series are on the page; where there are more, this many of them are aggregates.
inline constexpr std::size_t kMostSeries = 256;
inline constexpr std::size_t kMostAggregates = 48;

/// What the series that are aggregated into one have in common.
enum class Grouping {
  MetricAndPackage,
  Metric,
  Kind,  ///< role and unit; of states the metric
};

/// Whether it tells what a process used.
bool isOfProcess(const PageSeries& series);
/// The name of the group that the series belongs to.
std::string groupOf(const PageSeries& series, Grouping grouping);
/// The package that the entity is a part of; null for none, or for no entity.
const pwr::EntityHandle* packageOf(const pwr::EntityHandle* entity);

/// All series by their importance, of which their totals tell: power, then CPUs, frequencies,
/// temperatures and processes by what they used, and of other metrics something of each. No kind
/// takes more than its part of the first `kMostSeries`, unless there is room.
std::vector<PageSeries*> byImportance(std::deque<PageSeries>& series);

/// The finest grouping of the series with at most `kMostAggregates` groups, or by kind.
Grouping groupingFor(const std::vector<PageSeries*>& folded);
