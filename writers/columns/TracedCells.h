#pragma once

#include <string>

#include "writers/columns/TraceTable.h"
#include "writers/host/Metric.h"

/// What an event of a traced metric shows beside its number, time and duration: descriptor, value
/// and three kinds of attributes, each id of which has one column in the table.
class TracedCells {
 public:
  /// Adds the columns of a new table, of which `element` is the first event.
  static void addColumns(TraceTable& table, const pwr::Metric& metric,
                         const pwr::DataElement& element);

  /// Sets the cells of the current row. What has no column yet gets one at the end. What cannot be
  /// shown is skipped with a warning.
  void setCells(TraceTable& table, const pwr::Metric& metric, const pwr::DataElement& element);

 private:
  void setDynamicCell(TraceTable& table, std::uint64_t id, const pwr::Data& value);
  bool formatDynamic(const pwr::DataHandle& attribute, const pwr::Data& value);

  std::string text_;  // kept for its storage
};
