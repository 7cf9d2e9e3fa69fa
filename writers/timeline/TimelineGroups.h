#pragma once

#include <string_view>
#include <tuple>

#include "writers/host/Metric.h"

/// The tab that a metric is shown on, and the group of timelines within it.
struct TimelineGroups {
  std::string_view tab;
  std::string_view timeline;

  bool operator<(const TimelineGroups& other) const {
    return std::tie(tab, timeline) < std::tie(other.tab, other.timeline);
  }
};

/// Chooses by what the metric measures (its quantity), what it belongs to (its feature) and on what
/// it is measured (the level of its first entity).
TimelineGroups timelineGroupsOf(const pwr::Metric& metric);

/// The short name of a group: its lower-case word where it has one, otherwise the name.
std::string_view shortGroupName(std::string_view name);
