#pragma once

#include <algorithm>
#include <cstddef>

#include "formats/metric_kinds.h"
#include "writers/host/Metric.h"

/// The text by which the outputs name what kind of metric a metric is; "UNKNOWN" for a
/// kind that they have no name for.
inline const char* metricKindText(pwr::Metric::MetricType type) {
  const auto number = static_cast<std::size_t>(type);
  return kMetricKinds[std::min(number, kMetricKinds.size() - 1)].data();
}

/// Traced metrics come as events, each at a time of its own; the others as samples of all their
/// series at once.
inline bool isTraced(pwr::Metric::MetricType type) {
  return type == pwr::Metric::MetricType::TracedValueTransition ||
         type == pwr::Metric::MetricType::TracedEvent;
}
