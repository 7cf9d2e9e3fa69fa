#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "writers/continuous/PointList.h"
#include "writers/host/DataHandle.h"
#include "writers/host/EntityHandle.h"
#include "writers/host/Metric.h"

/// A unit in which a trace's values can be shown: value × conversion, divided by the seconds of the
/// point where the unit is a calculated rate.
struct AltUnit {
  std::string name;
  std::string unit;
  double conversion = 1.0;
  bool isCalculatedRate = false;
};

/// The points of one metric on one entity.
///
/// A value stands under a label: the name of its state or else of its descriptor. A container with
/// states writes labels as states; one without writes the values of a point by their position, of
/// which there are two.
class TraceContainer {
 public:
  struct Description {
    const pwr::EntityHandle* entity = nullptr;  ///< null for the metric as a whole
    unsigned int metric = 0;                    ///< id
    pwr::Metric::MetricType type = pwr::Metric::MetricType::SampledValue;
    std::vector<AltUnit> altUnits;
    bool hasStates = false;
  };

  /// When a point starts and ends, in microseconds from the collection start.
  struct Times {
    unsigned long long x = 0;
    unsigned long long x1 = 0;
    bool operator==(const Times&) const = default;
  };

  /// One value. The values of a point stand side by side, each with the point's times: a list of
  /// values of its own for every point would take more memory for the usual point of one value.
  struct Value {
    Times times;
    double value;
    std::uint32_t label;
    bool startsPoint;
  };

  /// `memory` holds the values of all containers of the model, and must outlive them.
  TraceContainer(Description description, RecordBlocks& memory);

  const Description& description() const { return description_; }
  bool hasStates() const { return description_.hasStates; }
  /// From now on labels, those of the values so far included, are states.
  void showStates() { description_.hasStates = true; }

  /// The index of a label, which becomes the container's next one when it is new.
  std::uint32_t label(const std::string& name);
  /// The same for a state, whose label is its attribute text or, when it has no attribute, its
  /// name.
  std::uint32_t label(const pwr::DataHandle* state);
  const std::vector<std::string>& labels() const { return labels_; }

  /// Adds a value to the point of sample `sample` that has these times, or starts a point where it
  /// has no place for the value: every label stands once in a point.
  void add(unsigned long long sample, const Times& times, std::uint32_t label, double value);
  using Values = PointList<Value>;
  /// In the order added.
  const Values& values() const { return values_; }

 private:
  bool fitsLastPoint(const Times& times, std::uint32_t label) const;

  Description description_;
  std::vector<std::string> labels_;
  std::unordered_map<std::string, std::uint32_t> places_;
  std::unordered_map<const pwr::DataHandle*, std::uint32_t> states_;
  std::vector<std::uint64_t> pointOfLabel_;  ///< by label: the last point that has a value of it
  Values values_;
  unsigned long long lastSample_ = 0;
  // The last point: its number, and how many values it has.
  std::uint64_t point_ = 0;
  std::uint32_t valuesOfPoint_ = 0;
};
