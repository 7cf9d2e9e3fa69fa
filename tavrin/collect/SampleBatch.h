#pragma once

#include <cstddef>
#include <vector>

#include "writers/host/Metric.h"

namespace tavrin {

/// The metric messages of one sampling pass. A batch is reused from pass to pass and keeps its
/// storage, so that filling it allocates nothing once it has grown to the size of a pass.
class SampleBatch {
 public:
  /// Appends a message of the metric, stamped `timestamp` (ticks), without elements.
  pwr::Metric::DataPoint& add(const pwr::MetricDescription* metric, unsigned long long timestamp) {
    if (used_ == metrics_.size()) {
      metrics_.emplace_back(metric);
    } else if (metrics_[used_].getDescription() != metric) {
      metrics_[used_] = pwr::Metric(metric);
    }
    pwr::Metric::DataPoint& point = metrics_[used_++].editData();
    point.timestamp = timestamp;
    point.elements.clear();
    return point;
  }

  void clear() { used_ = 0; }

  /// When the pass was, in ticks.
  unsigned long long time() const { return time_; }
  void setTime(unsigned long long ticks) { time_ = ticks; }

  /// How many passes of the run were left out before this one.
  unsigned long long missed() const { return missed_; }
  void setMissed(unsigned long long passes) { missed_ = passes; }

  pwr::Metric* begin() { return metrics_.data(); }
  pwr::Metric* end() { return metrics_.data() + used_; }
  const pwr::Metric* begin() const { return metrics_.data(); }
  const pwr::Metric* end() const { return metrics_.data() + used_; }

 private:
  std::vector<pwr::Metric> metrics_;
  std::size_t used_ = 0;
  unsigned long long time_ = 0;
  unsigned long long missed_ = 0;
};

}  // namespace tavrin
