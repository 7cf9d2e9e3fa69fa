#pragma once

#include <memory>
#include <string>

#include "writers/continuous/ContinuousWriter.h"
#include "writers/host/Metric.h"

/// The key under which `describeSystem`'s node stands in a document.
inline constexpr const char* kSystemKey = "SystemMetadata";

/// What a continuous document tells of the system and the collection so far.
std::shared_ptr<const ContinuousWriter::Metadata> describeSystem(const pwr::SystemMetadata& system);

/// What a continuous document tells of a metric. `name` is the node's own.
std::shared_ptr<const ContinuousWriter::Metadata> describeMetric(const pwr::Metric& metric,
                                                                 const std::string& name);
