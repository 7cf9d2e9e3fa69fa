#pragma once

#include "hostcommon/summary/MetricTotals.h"

namespace pwr {

/// With more CPUs than this, tables are about the whole machine and its packages only.
inline constexpr std::size_t kMostCpuRows = 32;

/// The totals of a metric as its tables show them. Before the series of several
///
///   CPUs         are those of all CPUs, and of each package where there are several; of texts, as
///                of the tasks that ran, those of all CPUs are left alone;
///   power zones  is that of all packages where there are several: zones within them, and those
///                around them, count what they count.
///
/// Rows of CPUs are in the order of their numbers. Residencies that tell when CPUs have nothing to
/// do have the time in which they were busy, too. Of metrics of other things, and of values that do
/// not add up, the totals are as they were.
MetricTotals withWholeMachine(const MetricTotals& totals);

}  // namespace pwr
