#pragma once

/// Turns ticks into the times of the JSON trace: whole microseconds from the collection start. The
/// arithmetic is single precision, which readers of the format rely on for equal times: a float has
/// 24 bits, so times lose resolution from 16.7 million ticks on.
class ContinuousClock {
 public:
  ContinuousClock() = default;
  /// `tscFrequencyMHz`: ticks per microsecond. One that is not positive counts as 1.
  ContinuousClock(unsigned long long startTicks, float tscFrequencyMHz)
      : start_(startTicks), period_(1.0F / (tscFrequencyMHz > 0.0F ? tscFrequencyMHz : 1.0F)) {}

  /// Microseconds per tick.
  float period() const { return period_; }
  /// A time before the start counts as the start.
  unsigned long long sinceStart(unsigned long long ticks) const {
    return length(ticks > start_ ? ticks - start_ : 0);
  }
  unsigned long long length(unsigned long long ticks) const {
    constexpr float kLimit = 18446744073709551616.0F;  // 2^64
    const float microseconds = static_cast<float>(ticks) * period_;
    return microseconds < kLimit ? static_cast<unsigned long long>(microseconds) : ~0ULL;
  }

 private:
  unsigned long long start_ = 0;
  float period_ = 1.0F;
};
