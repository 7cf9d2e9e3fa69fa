#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "exporters/html/ColumnWriter.h"
#include "exporters/html/MetricSeries.h"
#include "exporters/html/PageLevel.h"
#include "exporters/html/SeriesStore.h"

/// The levels of the binned points of a run, the finest first.
std::vector<PageLevel> levelsOf(const SeriesStore& store);

/// Stores the points of a series as they came. Returns the members of its "data", a JSON object.
std::string exactData(const PageSeries& series, ColumnWriter& columns);

/// The same of bins, at every level.
std::string binnedData(const SeriesStore& store, const PageSeries& series, ColumnWriter& columns);

/// The texts of events that are stored as they came, by their indices.
std::vector<std::string> textsOf(const PageSeries& series);
