#pragma once

#include "writers/host/DataHandle.h"
#include "writers/host/EntityHandle.h"
#include "writers/host/HostApi.h"
#include "writers/host/Metric.h"
#include "writers/host/Quantity.h"

/// Creates the descriptions that samples refer to. Each call makes a new one with the next id,
/// keeps it for the life of the process and returns a pointer that never changes. A host creates
/// each description once, before the samples that use it. Attributes and descriptors have `create`
/// operations of their own. Safe to call from several threads.
namespace pwr {

PW_HOST_API const Quantity* createQuantity(QuantityDescription description);
PW_HOST_API const DataHandle* createHandle(DataHandleDescription description);
PW_HOST_API const EntityHandle* createEntity(EntityDescription description);

/// Numbers the metric (1, 2, 3... in a sequence of its own) and derives its entity list from its
/// combinations.
PW_HOST_API const MetricDescription* createMetric(MetricDescription description);

/// A column of a summary table: a field handle whose field name is `name`, followed by the unit in
/// parentheses where `quantity` has one. The unit of times is the one that the summary report
/// prints them in: "ms", or "ticks" under the environment switch PW_DO_TIMELINE_TSC.
PW_HOST_API const DataHandle* createColumn(const std::string& name, const Quantity* quantity);

}  // namespace pwr
