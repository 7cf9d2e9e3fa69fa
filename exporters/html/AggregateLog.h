#pragma once

#include "exporters/html/BinnedRun.h"
#include "exporters/html/MetricSeries.h"

/// Makes points, of the width of the bins, out of the bins of an aggregate: of a rate its growth,
/// of other values the mean, of states the share of time in the most frequent ones, of events their
/// number. `end`: of the run.
void logBins(PageSeries& aggregate, const BinnedRun& bins, long long end);
