#include "exporters/lines/LineClock.h"

#include <algorithm>
#include <cmath>

#include "writers/common/TimeScale.h"

namespace lines {

namespace {

__extension__ using Wide = __int128;

// Enough for the fraction of a frequency that is known as a float only.
constexpr Wide kParts = Wide{1} << 20U;
constexpr double kMostFrequency = 0x1p62;
// InfluxDB keeps the two last ones of a signed number for itself.
constexpr Wide kMostNs = (Wide{1} << 63U) - 3;

}  // namespace

LineClock::LineClock(const pwr::SystemMetadata& system, std::uint64_t startNs)
    : startNs_(startNs), startTicks_(system.getCollectionStartTimestamp()) {
  const double parts =
      usableTicksPerMicrosecond(system.getTscFrequencyMHz()) * static_cast<double>(kParts);
  frequency_ = static_cast<std::uint64_t>(std::clamp(std::round(parts), 1.0, kMostFrequency));
  if (const std::uint64_t whole = system.getTimestampClockFrequencyMHz(); whole != 0) {
    frequency_ = whole * static_cast<std::uint64_t>(kParts);
  }
}

std::optional<std::uint64_t> LineClock::nanoseconds(unsigned long long ticks) const {
  const Wide parts = (Wide{ticks} - Wide{startTicks_}) * 1000 * kParts;
  Wide sinceStart = parts / frequency_;
  if (parts % frequency_ < 0) --sinceStart;  // times are rounded down, on either side of the start
  const Wide time = sinceStart + startNs_;
  if (time < 0 || time > kMostNs) return std::nullopt;
  return static_cast<std::uint64_t>(time);
}

}  // namespace lines
