#pragma once

#include "tavrin/LiveFeatures.h"
#include "tavrin/platform/StopRequest.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// Takes what is collected live, in one thread.
class LiveTaker {
 public:
  virtual ~LiveTaker() = default;

  /// A message of the kernel's events, between the passes.
  virtual void traced(const pwr::Metric& metric) = 0;
  /// A sampling pass; `runStart` and `start` (ticks) are the first readings of the run and those
  /// before this pass.
  virtual void pass(const SampleBatch& batch, unsigned long long start,
                    unsigned long long runStart) = 0;
};

/// Collects at these times, or until `stop`, and hands over everything as it comes. Values that the
/// taker has no time for wait for a few passes; then passes are left out.
void collectLive(const LiveFeatures& features, const SamplingTimes& times, StopRequest& stop,
                 LiveTaker& taker);

}  // namespace tavrin
