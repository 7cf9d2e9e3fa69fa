#pragma once

#include <vector>

#include "tavrin/summary/MetricTotals.h"
#include "tavrin/summary/TableBuilder.h"

namespace tavrin {

/// A table of texts with more rows than this has the most frequent ones and a row of all others.
inline constexpr std::size_t kMostTextRows = 20;

/// The summary tables of one metric by its kind, as `SummaryTables` tells. `ticksPerMicrosecond`:
/// the timestamp clock in MHz. The tables' numbers are unique among all metrics.
std::vector<TableBuilder> tablesOf(const MetricTotals& totals, double ticksPerMicrosecond);

}  // namespace tavrin
