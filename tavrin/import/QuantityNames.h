#pragma once

#include "readers/ResultReader.h"
#include "writers/host/Quantity.h"

namespace tavrin {

/// The kind of a metric's quantity, of which most formats keep only the name and the units.
pwr::QuantityType quantityTypeOf(const Metric& metric);

}  // namespace tavrin
