#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <deque>
#include <string>

#include "writers/columns/TraceValue.h"
#include "writers/host/Metric.h"

/// A series of values in the over-time data, and a summary of them.
struct OverTimeSeries {
  const pwr::MetricDescription* metric;
  const pwr::EntityHandle* entity;          ///< null when the values belong to none
  const pwr::DataDescriptor* descriptor;    ///< null when the values have none
  const pwr::Quantity* quantity = nullptr;  ///< of the values shown; null when unknown
  TraceMode mode = TraceMode::Value;

  std::uint64_t samples = 0;  ///< values, numbers or not
  std::uint64_t numbers = 0;  ///< those that the rest is about, which NaN is not
  double minimum = 0.0;
  double maximum = 0.0;
  double sum = 0.0;

  /// Sets `text` to that of a value as it is, and counts it. False, with nothing counted, when
  /// there is none.
  bool take(const pwr::Data& value, std::string& text) {
    if (value.toString(text) != 0) return false;
    double number = 0.0;
    if (value.toReal(number) == 0) addNumber(number);
    ++samples;
    return true;
  }
  void addNumber(double number) {
    if (std::isnan(number)) return;
    minimum = numbers == 0 ? number : std::min(minimum, number);
    maximum = numbers == 0 ? number : std::max(maximum, number);
    sum += number;
    ++numbers;
  }
};

/// References to its members stay valid.
using OverTimeSeriesList = std::deque<OverTimeSeries>;
