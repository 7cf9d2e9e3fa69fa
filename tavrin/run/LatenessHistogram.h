#pragma once

#include <array>
#include <cstdint>

namespace tavrin {

/// How late sampling passes started, in buckets of at most 12.5 % width: small and constant memory,
/// however long the run.
class LatenessHistogram {
 public:
  void add(std::uint64_t nanoseconds);
  /// Upper edge, in nanoseconds, of the bucket that holds the given share (0 to 1) of all passes; 0
  /// when there were none.
  std::uint64_t quantile(double share) const;
  std::uint64_t count() const { return count_; }
  std::uint64_t maximum() const { return maximum_; }

 private:
  static constexpr unsigned kSubBits = 3;
  static constexpr unsigned kBuckets = (64 - kSubBits + 1) << kSubBits;

  static unsigned bucketOf(std::uint64_t value);
  static std::uint64_t upperEdge(unsigned bucket);

  std::array<std::uint64_t, kBuckets> counts_{};
  std::uint64_t count_ = 0;
  std::uint64_t maximum_ = 0;
};

}  // namespace tavrin
