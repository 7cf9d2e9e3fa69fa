#pragma once

#include <cstdint>
#include <optional>

#include "writers/host/SystemMetadata.h"

namespace lines {

/// Makes nanoseconds since 1970 of the ticks of a run's clock, by whole numbers alone: no digit is
/// lost, however long the run is.
class LineClock {
 public:
  /// `startNs`: the wall clock's time at the start of the collection, nanoseconds since 1970.
  LineClock(const pwr::SystemMetadata& system, std::uint64_t startNs);

  /// Nothing for a time that engines cannot have: before 1970, or after the year 2262.
  std::optional<std::uint64_t> nanoseconds(unsigned long long ticks) const;

 private:
  std::uint64_t startNs_;
  unsigned long long startTicks_;
  std::uint64_t frequency_;  // MHz, in parts of kParts
};

}  // namespace lines
