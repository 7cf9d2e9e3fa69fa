#pragma once

#include <string>

#include "writers/host/DataHandle.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// Whether the metric's elements tell in their attributes whose they are and how much it was, as
/// those of processes do.
bool isListOfOwners(const pwr::MetricDescription& metric);

/// Whose an element is: "make".
std::string ownerName(const pwr::AttributeValueManager& attributes);

/// The same with its numbers: "make (1234, 1235)", each number once.
std::string numberedOwnerName(const pwr::AttributeValueManager& attributes);

}  // namespace tavrin
