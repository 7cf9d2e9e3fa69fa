#pragma once

#include <cstdint>
#include <limits>

#include "writers/common/TimeScale.h"
#include "writers/host/SystemMetadata.h"

namespace pftrace {

/// Makes nanoseconds of the ticks of a run's clock. They count from where the ticks do.
class TraceClock {
 public:
  /// One that nothing is known of has a tick for each microsecond.
  TraceClock() = default;
  explicit TraceClock(const pwr::SystemMetadata& system)
      : wholeMHz_(system.getTimestampClockFrequencyMHz()),
        mhz_(usableTicksPerMicrosecond(system.getTscFrequencyMHz())),
        start_(system.getCollectionStartTimestamp()) {}

  /// When the collection began, in ticks.
  unsigned long long start() const { return start_; }

  /// A time, or a length of time. What a signed number cannot hold is the most that it can.
  std::uint64_t nanoseconds(unsigned long long ticks) const {
    if (wholeMHz_ == 1000) return ticks < kMost ? ticks : kMost;
    if (wholeMHz_ == 0) return limited(static_cast<double>(ticks) / mhz_ * 1000.0);
    // In two steps, as the product of all ticks may be too large.
    const unsigned long long microseconds = ticks / wholeMHz_;
    if (microseconds >= kMost / 1000) return kMost;
    return microseconds * 1000 + ticks % wholeMHz_ * 1000 / wholeMHz_;
  }
  /// Whether readers of traces can know such a time.
  bool isInRange(unsigned long long ticks) const { return nanoseconds(ticks) < kMost; }
  double seconds(unsigned long long ticks) const { return static_cast<double>(ticks) / mhz_ / 1e6; }

 private:
  // Readers keep times as signed numbers, and add lengths to them.
  static constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max() / 2;

  static std::uint64_t limited(double nanoseconds) {
    return nanoseconds < static_cast<double>(kMost) ? static_cast<std::uint64_t>(nanoseconds)
                                                    : kMost;
  }

  unsigned int wholeMHz_ = 0;
  double mhz_ = 1.0;
  unsigned long long start_ = 0;
};

}  // namespace pftrace
