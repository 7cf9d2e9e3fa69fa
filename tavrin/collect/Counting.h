#pragma once

#include <optional>

#include "writers/host/Quantity.h"

namespace tavrin {

/// Bytes that went somewhere, and bytes per second.
const pwr::Quantity* createBytesQuantity();
/// Events, and events per second.
const pwr::Quantity* createEventsQuantity();

/// What most times of the kernel are counted in, whatever its own clock: usually 10 ms.
unsigned long long ticksPerJiffy();

/// What a counter of `unit`s grew by between two readings; nothing when it has run backwards, or
/// when 64 bits cannot hold the product, which no counter of a kernel comes near.
inline std::optional<unsigned long long> growthOf(unsigned long long before, unsigned long long now,
                                                  unsigned long long unit = 1) {
  const unsigned long long count = now - before;
  if (now < before || count > ~0ULL / unit) return std::nullopt;
  return count * unit;
}

}  // namespace tavrin
