#pragma once

#include <cstdint>
#include <string>

#include "writers/columns/CellText.h"
#include "writers/host/Metric.h"

/// How the value cell of a trace is made from an element's value. The numbers are those that the
/// table builders are called with.
enum class TraceMode : int {
  Value = 0,       ///< the value's own text
  Rate = 1,        ///< change per second, in units of the rate's quantity
  Percentage = 2,  ///< share of the element's duration
  Time = 3,        ///< ticks as microseconds
};

/// The timestamp clock of a collection.
struct TraceClock {
  double ticksPerMicrosecond = 0.0;
  std::uint64_t start = 0;  ///< the collection's first tick

  double microsecondsAt(std::uint64_t timestamp) const {
    return static_cast<double>(timestamp - start) / ticksPerMicrosecond;
  }
  double millisecondsAt(std::uint64_t timestamp) const { return milliseconds(timestamp - start); }
  double milliseconds(std::uint64_t ticks) const {
    return static_cast<double>(ticks) / (ticksPerMicrosecond * 1000.0);
  }
};

/// The quantity that a metric's rate is in; null when it has none. `factor` is set with it.
const pwr::Quantity* rateQuantityOf(const pwr::Metric& metric, double& factor);

/// Computes the number of a mode other than Value. Returns null, or the line that tells why the
/// element has no such number: a literal.
const char* computeTraceValue(double& number, const pwr::Metric& metric,
                              const pwr::DataElement& element, TraceMode mode,
                              const TraceClock& clock);

/// Finds the attribute of an event's additional information and the text of its value: what
/// `toText` makes of it, or a handle's name. Returns null, or the line that tells why there is no
/// text: a literal. `attribute` is null then if it is not known.
const char* formatDynamic(const pwr::DataHandle*& attribute, std::string& text, std::uint64_t id,
                          const pwr::Data& value, int (pwr::Data::*toText)(std::string&) const);

/// What a mode's values are measured in: "%", "usec", or the units of `quantity`. Empty without
/// quantity, which may be null.
std::string traceUnits(TraceMode mode, const pwr::Quantity* quantity);
/// The units as column names carry them: " (units)", or nothing where nothing is known of them.
std::string traceUnitSuffix(TraceMode mode, const pwr::Quantity* quantity);
