#pragma once

#include <string>

#include "writers/common/WriterLog.h"
#include "writers/host/Data.h"
#include "writers/host/DataHandle.h"
#include "writers/host/EntityHandle.h"
#include "writers/host/LogChannels.h"

// What the formats of this folder have in common: how they call things, and their clock.

/// The channel of the JSON trace and of the continuous model.
inline const WriterLog kContinuousLog(kContinuousChannel);

/// What the formats call an entity: its qualified name, since two packages may both have a "Core0".
/// Empty without an entity.
inline std::string nameOf(const pwr::EntityHandle* entity) {
  return entity == nullptr ? std::string() : entity->getQualifiedName();
}

/// The attribute text of a descriptor or of a state: the value of its first attribute as text, a
/// range as "first - last". Empty when it has no attributes, or when the value is a handle or none.
inline std::string descriptorText(const pwr::DataHandle& handle) {
  std::string text;
  if (handle.getAttributes().getAttributeCount() == 0) return text;
  const pwr::Data& value = handle.getAttributes().begin()->second;
  if (value.getType() != pwr::DataType::Handle) value.toString(text);
  return text;
}

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
