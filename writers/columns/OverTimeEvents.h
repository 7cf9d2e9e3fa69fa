#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "hostcommon/OutputFile.h"
#include "writers/columns/OverTimeNames.h"
#include "writers/columns/OverTimeSeries.h"
#include "writers/common/SeriesIndex.h"

class TraceRun;

/// The file of events: a line for each, written when it comes.
class OverTimeEvents {
 public:
  /// `run` is told of what cannot be shown.
  OverTimeEvents(TraceRun& run, OverTimeNames& names) : run_(run), names_(names) {}

  /// Creates the file that will be `path` and writes its headings; times are in `timeColumn`,
  /// durations in the same unit. False, logged, when that fails.
  bool open(const std::string& path, const char* timeColumn, const char* durationColumn);
  /// Adds the line of one event. `time` and `duration` are texts of numbers, which may be empty.
  void add(const pwr::Metric& metric, const pwr::DataElement& element, std::string_view time,
           std::string_view duration);
  /// Returns 1, with the cause logged, when the file is not complete.
  int close() { return file_.close(); }

  const OverTimeSeriesList& series() const { return series_; }

 private:
  struct Known {
    OverTimeSeries* series;
    std::string cells;  // metric, entity and descriptor
  };

  Known makeKnown(const pwr::Metric& metric, const pwr::DataElement& element);
  void listAttributes(const pwr::Metric& metric, const pwr::DataElement& element);
  void listAttributes(const pwr::AttributeValueManager& attributes);
  void listAttribute(const pwr::DataHandle& attribute);

  TraceRun& run_;
  OverTimeNames& names_;
  pwr::OutputFile file_;
  OverTimeSeriesList series_;  // in the order of their first events
  std::unordered_map<unsigned int, SeriesIndex<Known>> knownByMetric_;
  // The line in the making, kept for their storage.
  std::string line_;
  std::string text_;
  std::string attributes_;
  std::vector<const pwr::DataHandle*> listed_;
};
