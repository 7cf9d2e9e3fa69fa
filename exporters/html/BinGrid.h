#pragma once

#include <algorithm>
#include <cstddef>

/// Where the bins of a run lie in time: bins of equal width, which is a power of two in ticks, from
/// `origin` on. When the run outgrows them they become twice as wide, and two bins one.
class BinGrid {
 public:
  /// As narrow as `capacity` bins up to `end` can be.
  BinGrid(long long origin, long long end, std::size_t capacity);

  long long origin() const { return origin_; }
  /// In ticks.
  long long width() const { return 1LL << shift_; }
  std::size_t capacity() const { return capacity_; }
  /// The first tick behind the bins.
  long long end() const { return origin_ + (static_cast<long long>(capacity_) << shift_); }
  /// Of a time within the bins.
  std::size_t binOf(long long ticks) const {
    return static_cast<std::size_t>((ticks - origin_) >> shift_);
  }
  long long startOf(std::size_t bin) const {
    return origin_ + (static_cast<long long>(bin) << shift_);
  }
  /// The number of bins that times up to `end` need; at least one.
  std::size_t binsTo(long long end) const {
    return end <= origin_ ? 1 : std::min(capacity_, binOf(end - 1) + 1);
  }

  void widen() { ++shift_; }
  /// Fewer bins, of the same width.
  void setCapacity(std::size_t capacity) { capacity_ = capacity; }

 private:
  long long origin_;
  unsigned int shift_ = 0;
  std::size_t capacity_;
};
