#pragma once

#include <span>

#include "tavrin/events/EventMetrics.h"

namespace tavrin {

/// How a group of events is called, live and imported.
struct EventGroupNames {
  EventGroup group;
  const char* tag;            ///< of the feature
  const char* containerName;  ///< of its metrics
  const char* help;
};

/// Of all groups, in the order of reports.
std::span<const EventGroupNames> eventGroups();
const EventGroupNames& namesOf(EventGroup group);

}  // namespace tavrin
