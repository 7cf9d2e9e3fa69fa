#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "exporters/html/MetricSeries.h"
#include "exporters/html/SeriesStore.h"
#include "writers/host/Metric.h"

/// Makes series of points out of the samples of a run.
class SeriesRecorder {
 public:
  explicit SeriesRecorder(SeriesStore& store) : store_(store) {}

  /// The start of the collection in ticks. Before the first sample.
  void setStart(unsigned long long start) { start_ = start; }
  void add(const pwr::Metric& metric);

  /// In the order of their first samples.
  const std::deque<MetricSeries>& metrics() const { return metrics_; }
  /// Values that are not finite, and times too far away to be told: left out.
  std::size_t notFinite() const { return notFinite_; }
  std::size_t outOfRange() const { return outOfRange_; }

 private:
  MetricSeries& metricOf(const pwr::Metric& metric);
  void addElement(MetricSeries& metric, const pwr::DataElement& element, PagePoint& point);
  void addNumber(MetricSeries& metric, const pwr::DataElement& element, PagePoint& point);
  void addText(MetricSeries& metric, const pwr::DataElement& element, PagePoint& point);
  void addResidency(MetricSeries& metric, const pwr::DataElement& element, PagePoint& point);
  void endResidency(PageSeries& series, long long start);
  PageSeries& seriesOf(MetricSeries& metric, const pwr::DataElement& element,
                       PageSeries* MetricSeries::Slot::*which, SeriesKind kind);
  PageSeries& ownedSeries(MetricSeries& metric, const pwr::DataElement& element);

  SeriesStore& store_;
  unsigned long long start_ = 0;
  std::deque<MetricSeries> metrics_;
  std::unordered_map<unsigned int, MetricSeries*> byId_;
  MetricSeries* last_ = nullptr;
  std::vector<PageSeries*> gathering_;  // residencies of the sample that is being read
  std::string text_;                    // reused
  std::size_t notFinite_ = 0;
  std::size_t outOfRange_ = 0;
};
