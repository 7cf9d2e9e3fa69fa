#pragma once

#include <string>

#include "writers/host/Metric.h"

/// What a metric is about, for those that draw it.
enum class MetricRole {
  Power,
  Idle,     ///< sleep states of CPUs, cores, packages
  CpuTime,  ///< what CPUs spent their time for
  Task,     ///< what CPUs run
  Frequency,
  Temperature,
  ProcessTime,
  ProcessEnergy,
  DeviceState,
  Other,
};

/// How the values of a metric are shown.
struct ValueScale {
  std::string unit;  ///< of what is shown
  /// Values are the growth of a counter and shown per second.
  bool isRate = false;
  /// What is shown is value × factor, of a rate value × factor / seconds.
  double factor = 1.0;
  std::string totalUnit;     ///< of the sum of a rate's values
  double totalFactor = 1.0;  ///< the sum is shown as sum × totalFactor
};

struct MetricMeaning {
  MetricRole role = MetricRole::Other;
  ValueScale scale;
  /// Values name states, also where they are numbers.
  bool hasStates = false;
  /// Each process that values belong to has a series of its own.
  bool isPerProcess = false;
  /// The name of the state in the time that none of a metric of residencies accounts for; empty
  /// where that is not known.
  std::string restState;
};

MetricMeaning meaningOf(const pwr::MetricDescription& metric, double ticksPerSecond);

/// How the units of a counter, or of a length of time, are told per second. An empty unit stands
/// for a number of things.
ValueScale rateOf(const pwr::Quantity* quantity, double ticksPerSecond);
