#include "tavrin/collect/ResidencyCarry.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace tavrin {

namespace {

using Ticks = std::span<unsigned long long>;

unsigned long long sum(std::span<const unsigned long long> parts) {
  return std::accumulate(parts.begin(), parts.end(), 0ULL);
}

/// Also keeps their sum from exceeding what a number holds.
void limitEach(unsigned long long limit, Ticks parts) {
  for (unsigned long long& part : parts) part = std::min(part, limit);
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

/// Carries as much of the growth as can have happened since the start.
void ResidencyCarry::take(Ticks growth) {
  const unsigned long long room = open_ - sum(carry_);
  limitEach(room, growth);
  shrinkTo(room, growth);
  for (std::size_t i = 0; i < carry_.size(); ++i) carry_[i] += growth[i];
}

void ResidencyCarry::restart() {
  for (std::size_t i = 0; i < carry_.size(); ++i) stranded_[i] += std::exchange(carry_[i], 0ULL);
  open_ = 0;
}

void ResidencyCarry::restart(unsigned long long gap, Ticks growth) {
  limitEach(open_ + gap, growth);
  const unsigned long long total = sum(growth);
  shrinkTo(total - std::min(total, gap), growth);
  take(growth);
  restart();
}

void ResidencyCarry::attribute(unsigned long long interval, Ticks ticks) {
  open_ += interval;
  take(ticks);
  std::ranges::copy(carry_, ticks.begin());
  shrinkTo(interval, ticks);
  for (std::size_t i = 0; i < carry_.size(); ++i) carry_[i] -= ticks[i];
  open_ -= sum(ticks);
}

std::vector<unsigned long long> ResidencyCarry::remainder() const {
  std::vector<unsigned long long> parts = stranded_;
  for (std::size_t i = 0; i < parts.size(); ++i) parts[i] += carry_[i];
  return parts;
}

}  // namespace tavrin
