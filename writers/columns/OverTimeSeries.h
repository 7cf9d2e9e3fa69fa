#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <string>

#include "writers/columns/ColumnStore.h"
#include "writers/columns/TraceValue.h"
#include "writers/host/Metric.h"

/// One column of the over-time table: what it shows, and a summary of the numbers in it.
struct OverTimeSeries {
  std::string name;  ///< as the heading has it, not quoted
  ColumnStore::Column column;
  const pwr::MetricDescription* metric;
  const pwr::EntityHandle* entity;          ///< null when the values belong to none
  const pwr::DataDescriptor* descriptor;    ///< null when the values have none
  const pwr::Quantity* quantity = nullptr;  ///< of the values shown; null when unknown
  TraceMode mode = TraceMode::Value;

  std::uint64_t samples = 0;  ///< values, numbers or not
  std::uint64_t numbers = 0;
  double minimum = 0.0;
  double maximum = 0.0;
  double sum = 0.0;

  void addNumber(double number) {
    minimum = numbers == 0 ? number : std::min(minimum, number);
    maximum = numbers == 0 ? number : std::max(maximum, number);
    sum += number;
    ++numbers;
  }
};

/// References to its members stay valid.
using OverTimeSeriesList = std::deque<OverTimeSeries>;
