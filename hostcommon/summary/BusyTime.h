#pragma once

#include <algorithm>
#include <array>
#include <string_view>

#include "writers/host/DataDescriptor.h"
#include "writers/host/Metric.h"

namespace pwr {

/// The metrics that tell when CPUs have nothing to do, by their features, and in which of their
/// states. A CPU is busy in the rest of the time.
struct IdleStates {
  std::string_view featureTag;
  std::array<std::string_view, 2> names;  ///< all states when empty
};
inline constexpr IdleStates kIdleStates[] = {{"core-cstate", {}}, {"cpu-time", {"idle", "iowait"}}};

/// The idle states of a metric; null for one that does not tell them.
inline const IdleStates* idleStatesOf(const MetricDescription& metric) {
  if (metric.type != Metric::MetricType::SampledResidency) return nullptr;
  const auto* const found =
      std::ranges::find(kIdleStates, metric.featureTag, &IdleStates::featureTag);
  return found == std::end(kIdleStates) ? nullptr : found;
}

inline bool isIdle(const IdleStates& states, const DataDescriptor* descriptor) {
  if (states.names.front().empty()) return true;
  return descriptor != nullptr && std::ranges::count(states.names, descriptor->getName()) > 0;
}

}  // namespace pwr
