#pragma once

#include <memory>

#include "writers/continuous/ContinuousWriter.h"
#include "writers/host/Metric.h"

/// What a continuous document tells of the system and the collection so far.
std::shared_ptr<const ContinuousWriter::Metadata> describeSystem(const pwr::SystemMetadata& system);

/// What a continuous document tells of a metric, under the metric's own name.
std::shared_ptr<const ContinuousWriter::Metadata> describeMetric(const pwr::Metric& metric);
