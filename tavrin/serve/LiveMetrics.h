#pragma once

#include <prometheus/collectable.h>
#include <prometheus/metric_family.h>

#include <mutex>
#include <vector>

#include "tavrin/collect/SampleBatch.h"
#include "tavrin/serve/LiveFamilies.h"

namespace tavrin {

/// What scrapes of a live collection get: its last values, and how it goes. A scrape sees the whole
/// of a pass or nothing of it; it holds up the next pass for as long as copying takes, never for as
/// long as sending does.
class LiveMetrics final : public prometheus::Collectable {
 public:
  /// `startSeconds`: when the collection began, in seconds since 1970. `limits`: of the series.
  LiveMetrics(double ticksPerSecond, double startSeconds, LiveFamilies::Limits limits = {});

  /// Takes what came between two passes.
  void addTraced(const pwr::Metric& metric);
  /// Takes a pass. Returns how many values were ever left out.
  unsigned long long addPass(const SampleBatch& pass);

  std::vector<prometheus::MetricFamily> Collect() const override;

 private:
  std::vector<prometheus::MetricFamily> ownFamilies() const;

  const double startSeconds_;
  mutable std::mutex mutex_;
  LiveFamilies families_;
  unsigned long long now_ = 0;  // the last pass
  unsigned long long passes_ = 0;
  unsigned long long missed_ = 0;
};

}  // namespace tavrin
