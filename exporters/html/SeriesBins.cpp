#include "exporters/html/SeriesBins.h"

#include <algorithm>

void ValueBin::add(double value, double ticks) {
  minimum = isEmpty() ? value : std::min(minimum, value);
  maximum = isEmpty() ? value : std::max(maximum, value);
  sum += value * ticks;
  covered += ticks;
}

void ValueBin::merge(const ValueBin& other) {
  if (other.isEmpty()) return;
  minimum = isEmpty() ? other.minimum : std::min(minimum, other.minimum);
  maximum = isEmpty() ? other.maximum : std::max(maximum, other.maximum);
  sum += other.sum;
  covered += other.covered;
}

void StateBin::add(std::uint16_t which, double howLong) {
  for (std::size_t n = 0; n < used; ++n) {
    if (state[n] != which) continue;
    ticks[n] += howLong;
    return;
  }
  if (used < kSlots) {
    state[used] = which;
    ticks[used++] = howLong;
    return;
  }
  double* const shortest = std::ranges::min_element(ticks);
  if (*shortest >= howLong) {
    others += howLong;
    return;
  }
  others += *shortest;
  *shortest = howLong;
  state[static_cast<std::size_t>(shortest - ticks.data())] = which;
}

void StateBin::merge(const StateBin& other) {
  for (std::size_t n = 0; n < other.used; ++n) add(other.state[n], other.ticks[n]);
  others += other.others;
}
