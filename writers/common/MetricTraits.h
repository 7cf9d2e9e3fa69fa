#pragma once

#include "writers/host/Metric.h"

/// The text by which the outputs name what kind of metric a metric is; "UNKNOWN" for a
/// kind that they have no name for.
inline const char* metricKindText(pwr::Metric::MetricType type) {
  switch (type) {
    case pwr::Metric::MetricType::SampledDelta:
      return "SAMPLED_DELTA";
    case pwr::Metric::MetricType::SampledResidency:
      return "SAMPLED_RESIDENCY";
    case pwr::Metric::MetricType::SampledValue:
      return "SAMPLED_VALUE";
    case pwr::Metric::MetricType::TracedValueTransition:
      return "TRACED_VALUE_TRANSITION";
    case pwr::Metric::MetricType::TracedEvent:
      return "TRACED_EVENT";
  }
  return "UNKNOWN";
}

/// Traced metrics come as events, each at a time of its own; the others as samples of all their
/// series at once.
inline bool isTraced(pwr::Metric::MetricType type) {
  return type == pwr::Metric::MetricType::TracedValueTransition ||
         type == pwr::Metric::MetricType::TracedEvent;
}
