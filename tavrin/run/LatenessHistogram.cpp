#include "tavrin/run/LatenessHistogram.h"

#include <algorithm>
#include <bit>

namespace tavrin {

// Values below 2^kSubBits have a bucket each; above, every power of two is cut into 2^kSubBits.
unsigned LatenessHistogram::bucketOf(std::uint64_t value) {
  if (value < (1U << kSubBits)) return static_cast<unsigned>(value);
  const auto exponent = static_cast<unsigned>(std::bit_width(value)) - 1;
  const auto sub = static_cast<unsigned>(value >> (exponent - kSubBits)) - (1U << kSubBits);
  return ((exponent - kSubBits + 1) << kSubBits) + sub;
}

std::uint64_t LatenessHistogram::upperEdge(unsigned bucket) {
  if (bucket < (1U << kSubBits)) return bucket;
  const unsigned shift = (bucket >> kSubBits) - 1;
  const std::uint64_t start = (1U << kSubBits) + (bucket & ((1U << kSubBits) - 1));
  return ((start + 1) << shift) - 1;
}

void LatenessHistogram::add(std::uint64_t nanoseconds) {
  ++counts_[bucketOf(nanoseconds)];
  ++count_;
  maximum_ = std::max(maximum_, nanoseconds);
}

std::uint64_t LatenessHistogram::quantile(double share) const {
  std::uint64_t seen = 0;
  for (unsigned bucket = 0; bucket < kBuckets; ++bucket) {
    seen += counts_[bucket];
    if (seen > 0 && static_cast<double>(seen) >= share * static_cast<double>(count_)) {
      return std::min(upperEdge(bucket), maximum_);
    }
  }
  return 0;
}

}  // namespace tavrin
