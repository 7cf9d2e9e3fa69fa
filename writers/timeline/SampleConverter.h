#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>

#include "writers/common/SeriesIndex.h"
#include "writers/host/Metric.h"
#include "writers/timeline/DataRecords.h"
#include "writers/timeline/DescriptionInfos.h"
#include "writers/timeline/MetricInfos.h"
#include "writers/timeline/ProcessInfos.h"
#include "writers/timeline/SampleSeries.h"

/// Turns the samples of metrics into data records, and sees to it that all that they refer to is
/// written. What a record is made of, and which class a metric gets: docs/formats/timeline.md.
///
/// Operations return 0, or 1 after a failure, which is logged.
class SampleConverter {
 public:
  /// `legacy`: see `DataRecords`. Output and infos must outlive the converter.
  SampleConverter(TimelineOutput& output, InfoRecords& infos, bool legacy);

  /// In ticks; to be set before the first sample.
  void setCollectionStart(std::uint64_t tsc) { collectionStart_ = tsc; }

  /// Converts one message. A sample out of time order is dropped, which is no failure. After a
  /// failure the metric cannot be in the file.
  int convert(const pwr::Metric& metric);

  /// Ends the states that still last with the stop of the collection, and writes what describes
  /// the metrics, the processes and the threads. To be called once, at the end; the converter must
  /// live until the output is closed.
  int finish(const pwr::SystemMetadata& metadata);

 private:
  struct KnownMetric {
    const pwr::MetricDescription* description;
    MetricInfos::Announced announced;
    pwrfile::MetricClass metricClass;
    bool hasTicks;                      ///< durations are in ticks
    bool hasOwners = false;             ///< some records tell processes or threads
    std::deque<SampleSeries> series{};  // in a place of its own each, which the table points to
    SeriesIndex<SampleSeries*> table{};
  };

  KnownMetric& known_i(const pwr::Metric& metric);
  SampleSeries* makeSeries_i(const pwr::Metric& metric, KnownMetric& known,
                             const pwr::DataElement& element);
  SampleField field_i(const KnownMetric& known, const pwr::DataDescriptor& descriptor);
  int convertElement_i(const pwr::Metric& metric, KnownMetric& known,
                       const pwr::DataElement& element);
  int addAttributes_i(const pwr::Metric& metric, KnownMetric& known, const SampleSeries& series,
                      const pwr::DataElement& element, AttributeList& list);
  int addOwner_i(const pwr::DataElement& element, KnownMetric& known, AttributeList& list);
  int addValue_i(const pwr::Metric& metric, const pwr::Data& value, AttributeList& list);
  int addStateColor_i(const pwr::Metric& metric, const pwr::Data& value, AttributeList& list);
  int addInfos_i(const pwr::DataElement& element, AttributeList& list);
  int changeState_i(std::uint32_t metricId, SampleSeries& series, std::uint64_t tsc,
                    AttributeList& list);
  int endState_i(std::uint32_t metricId, SampleSeries& series, std::uint64_t end);
  void findOwners_i(std::uint32_t metricId);

  TimelineOutput& output_;
  QuantityInfos quantities_;
  DescriptionInfos descriptions_;
  MetricInfos metrics_;
  ProcessInfos processes_;
  DataRecords records_;
  std::uint64_t collectionStart_ = 0;
  std::map<unsigned int, KnownMetric> known_;
  std::string text_;  // kept for its memory
};
