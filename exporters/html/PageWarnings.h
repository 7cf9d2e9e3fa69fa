#pragma once

#include <string>
#include <vector>

#include "exporters/html/PageTables.h"
#include "exporters/html/SeriesRecorder.h"
#include "exporters/html/SeriesStore.h"
#include "writers/host/SystemMetadata.h"

/// What a reader of the page has to know of it: what was lost, is missing, or is not there as it
/// came. A line for each. `system` may be null.
std::vector<std::string> warningsOf(const pwr::SystemMetadata* system, const SeriesStore& store,
                                    const SeriesRecorder& recorder, const PageTables& tables);
