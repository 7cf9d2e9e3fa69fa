#pragma once

#include "tavrin/collect/SampleBatch.h"

namespace tavrin {

/// All times are in ticks of a clock of 1000 MHz, that is, nanoseconds.
constexpr unsigned long long kTicksPerSecond = 1'000'000'000;
constexpr unsigned long long kTicksPerMillisecond = kTicksPerSecond / 1000;
constexpr unsigned long long kTicksPerMicrosecond = kTicksPerSecond / 1'000'000;
constexpr double kNanosecondsPerMillisecond = 1e6;

/// The interval between two sampling passes.
class Interval {
 public:
  /// Ends the interval at `now` ticks. Returns false when there is none: at the first pass, and
  /// when no time has passed. The readings of such a pass are only what later ones compare with.
  bool advance(unsigned long long now) {
    const bool complete = started_ && now > end_;
    start_ = end_;
    end_ = now;
    started_ = true;
    return complete;
  }

  unsigned long long start() const { return start_; }
  unsigned long long length() const { return end_ - start_; }

 private:
  unsigned long long start_ = 0;
  unsigned long long end_ = 0;
  bool started_ = false;
};

/// One metric's message about an interval. It joins the batch with its first element, so that an
/// interval in which nothing could be read has no message. Fill one at a time.
class IntervalPoint {
 public:
  IntervalPoint(SampleBatch& batch, const pwr::MetricDescription* metric, const Interval& interval)
      : batch_(batch), metric_(metric), interval_(&interval) {}

  /// What follows is about this interval: in a message of its own if it began at another time.
  IntervalPoint& of(const Interval& interval) {
    if (interval.start() != interval_->start()) point_ = nullptr;
    interval_ = &interval;
    return *this;
  }

  /// The element is valid until the next one is added.
  pwr::DataElement& add(pwr::Data value, const pwr::DataDescriptor* descriptor,
                        const pwr::EntityHandle* entity) {
    if (point_ == nullptr) point_ = &batch_.add(metric_, interval_->start());
    return point_->elements.emplace_back(std::move(value), descriptor, entity, interval_->length());
  }

 private:
  SampleBatch& batch_;
  const pwr::MetricDescription* metric_;
  const Interval* interval_;
  pwr::Metric::DataPoint* point_ = nullptr;
};

}  // namespace tavrin
