#pragma once

#include <string>

#include "writers/columns/TraceRun.h"
#include "writers/columns/TraceTable.h"
#include "writers/host/Metric.h"

/// What an event of a traced metric shows beside its number, time and duration: descriptor, value
/// and three kinds of attributes, each id of which has one column in the table.
class TracedCells {
 public:
  /// `run` is told of what cannot be shown.
  explicit TracedCells(TraceRun& run) : run_(run) {}

  /// Adds the columns of a new table, of which `element` is the first event.
  static void addColumns(TraceTable& table, const pwr::Metric& metric,
                         const pwr::DataElement& element);

  /// Sets the cells of the current row. What has no column yet gets one at the end.
  void setCells(TraceTable& table, const pwr::Metric& metric, const pwr::DataElement& element);

 private:
  TraceRun& run_;
  std::string text_;  // kept for its storage
};
