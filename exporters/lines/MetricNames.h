#pragma once

#include <array>
#include <optional>
#include <string>
#include <unordered_map>

#include "exporters/lines/LineTally.h"
#include "exporters/lines/LineText.h"
#include "hostcommon/SeriesNames.h"
#include "writers/host/Metric.h"

namespace lines {

/// What the names of all metrics of a run depend on.
struct RunNames {
  std::string host;  ///< as a tag: ",host=vm"
  double ticksPerSecond = 1e9;
  pwr::UniqueNames measurements{};
};

/// How the lines of one metric call its entities, descriptors and attributes. No two of one kind
/// have the same name.
class MetricNames {
 public:
  /// `tally` counts the texts that are cut; it and `metric` have to live as long.
  MetricNames(const pwr::MetricDescription& metric, RunNames& run, LineTally& tally);

  const pwr::MetricDescription& metric() const { return metric_; }
  const ValueText& values() const { return values_; }

  // What these return is valid as long as this.

  /// The measurement with the tags of the entity, which may be null.
  const std::string& head(const pwr::EntityHandle* entity);
  /// The field of numbers. The descriptor may be null.
  const std::string& field(const pwr::DataDescriptor* descriptor);
  /// The fields of the two ends of ranges.
  const std::array<std::string, 2>& rangeFields(const pwr::DataDescriptor* descriptor);
  /// The field of texts: "value" where the metric has one descriptor at most.
  const std::string& textField(const pwr::DataDescriptor* descriptor);

  /// An attribute of values: a tag where it is a text, a field where it is a number.
  struct Attribute {
    unsigned int number;  ///< of the metric's attributes, from 0
    std::string key;
    std::string field;
    ValueText values;
  };
  static constexpr std::size_t kMostAttributes = 16;
  /// Null, which is counted, where the metric has more of them.
  const Attribute* attribute(const std::string& name, const pwr::Quantity* quantity);

 private:
  const pwr::MetricDescription& metric_;
  LineTally& tally_;
  const double ticksPerSecond_;
  const pwr::BaseUnit unit_;
  const ValueText values_;
  const std::string measurement_;                             // with the tag of the host
  bool hasDescriptors_ = false;                               // more than one
  std::optional<const pwr::DataDescriptor*> textDescriptor_;  // whose texts have the field "value"
  pwr::UniqueNames tags_;
  pwr::UniqueNames keys_;
  pwr::UniqueNames fields_;
  const std::string value_ = "value";
  std::unordered_map<const pwr::EntityHandle*, std::string> heads_;
  std::unordered_map<const pwr::DataDescriptor*, std::string> fieldNames_;
  std::unordered_map<const pwr::DataDescriptor*, std::array<std::string, 2>> rangeNames_;
  std::unordered_map<std::string, Attribute> attributes_;
};

}  // namespace lines
