#pragma once

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "writers/host/Metric.h"

namespace tavrin {

/// What is known of one series (entity, descriptor and, where values are texts or states, value)
/// at the end of the run.
struct SeriesTotals {
  const pwr::EntityHandle* entity = nullptr;
  const pwr::DataDescriptor* descriptor = nullptr;
  std::string value;  ///< text of the value; empty for numbers
  unsigned long long count = 0;
  unsigned long long durationTicks = 0;
  double sum = 0.0;
  double minimum = 0.0;
  double maximum = 0.0;
  bool whole = true;  ///< every value was an integer
};

/// Adds up the samples of one metric as they pass, in memory that depends on the number of series
/// only. Adding a sample of a known series allocates nothing.
class MetricTotals {
 public:
  explicit MetricTotals(const pwr::MetricDescription* metric);

  void add(const pwr::Metric::DataPoint& point);
  /// Adds to the sums only.
  void addRemainder(const pwr::Metric::DataPoint& point);

  const pwr::MetricDescription* metric() const { return metric_; }
  /// In the order of first appearance.
  const std::vector<SeriesTotals>& series() const { return series_; }
  unsigned long long messages() const { return messages_; }
  unsigned long long values() const { return values_; }
  /// True when some value was not a number.
  bool isCategorical() const { return categorical_; }

 private:
  struct Key {
    const pwr::EntityHandle* entity;
    const pwr::DataDescriptor* descriptor;
    bool operator==(const Key&) const = default;
  };
  struct KeyHash {
    std::size_t operator()(const Key& key) const;
  };

  SeriesTotals& find(const pwr::DataElement& element);
  SeriesTotals& findCategory(const pwr::DataElement& element);

  const pwr::MetricDescription* metric_;
  std::vector<SeriesTotals> series_;
  std::unordered_map<Key, std::size_t, KeyHash> numeric_;
  std::unordered_map<Key, std::map<std::string, std::size_t>, KeyHash> categories_;
  std::string text_;  // reused
  unsigned long long messages_ = 0;
  unsigned long long values_ = 0;
  bool categorical_ = false;
};

}  // namespace tavrin
