#pragma once

#include <optional>
#include <vector>

#include "hostcommon/summary/MetricTotals.h"
#include "hostcommon/summary/TableBuilder.h"

namespace pwr {

/// A table of texts, or of counters of the whole machine, with more rows than this has the largest
/// ones and a row of all others.
inline constexpr std::size_t kMostRows = 20;

/// Whether the metric counts how often states were entered.
bool countsEntries(const MetricDescription& metric);

/// The summary tables of one metric by its kind, as `SummaryTables` tells. `ticksPerMicrosecond`:
/// the timestamp clock in MHz. `whole`: of a metric that counts entries, the one that counts all of
/// them; null when it is that itself. The tables' numbers are unique among all metrics.
std::vector<TableBuilder> tablesOf(const MetricTotals& totals, double ticksPerMicrosecond,
                                   const MetricTotals* whole);

/// The table of the levels of a metric of which `tablesOf` tells minimum, average and maximum;
/// nothing when they are too many for a table.
std::optional<TableBuilder> levelTable(const MetricTotals& levels);

}  // namespace pwr
