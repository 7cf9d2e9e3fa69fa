#include "tavrin/collect/ResidencyCarry.h"

#include <algorithm>
#include <numeric>

namespace tavrin {

namespace {

using Ticks = std::span<unsigned long long>;

unsigned long long sum(std::span<const unsigned long long> parts) {
  return std::accumulate(parts.begin(), parts.end(), 0ULL);
}

/// Makes the parts proportionally smaller, such that they add up to exactly `limit`; leaves them
/// alone if they are no more than that.
void shrinkTo(unsigned long long limit, Ticks parts) {
  unsigned long long total = sum(parts);
  if (total <= limit) return;
  for (unsigned long long& part : parts) {
    if (part == 0) continue;
    // Bounds in whole numbers keep the total exact however the share was rounded: the parts that
    // follow must be able to take the rest.
    const unsigned long long others = total - part;
    const unsigned long long least = limit - std::min(limit, others);
    const unsigned long long most = std::min(limit, part);
    const double share =
        static_cast<double>(part) * (static_cast<double>(limit) / static_cast<double>(total));
    part = std::clamp(static_cast<unsigned long long>(share), least, most);
    limit -= part;
    total = others;
  }
}

}  // namespace

void ResidencyCarry::restart() {
  std::ranges::fill(carry_, 0ULL);
  open_ = 0;
}

void ResidencyCarry::attribute(unsigned long long interval, Ticks ticks) {
  open_ += interval;
  const unsigned long long room = open_ - sum(carry_);
  for (unsigned long long& growth : ticks) growth = std::min(growth, room);
  shrinkTo(room, ticks);
  for (std::size_t i = 0; i < carry_.size(); ++i) carry_[i] += ticks[i];
  std::ranges::copy(carry_, ticks.begin());
  shrinkTo(interval, ticks);
  for (std::size_t i = 0; i < carry_.size(); ++i) carry_[i] -= ticks[i];
  open_ -= sum(ticks);
}

}  // namespace tavrin
