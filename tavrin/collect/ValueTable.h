#pragma once

#include <optional>
#include <vector>

#include "tavrin/collect/Interval.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// Present values of things that come and go. The value at the start of an interval stands for the
/// interval; a thing without one has a gap.
///
/// Calls: in each pass `note` for all values there are, then `emit`.
class ValueTable {
 public:
  /// Returns the number of the row, the same one for the same thing. Things may be added at any
  /// time.
  std::size_t add(const pwr::EntityHandle* entity, const pwr::DataDescriptor* descriptor);
  bool empty() const { return rows_.empty(); }
  /// One for each row so far, as the metric's description needs them.
  std::vector<pwr::Metric::EntityDescCombo> combinations() const;

  /// Notes the value that the thing of a row has now.
  void note(std::size_t row, double value) { rows_[row].now = value; }
  /// Ends the pass. `complete`: whether `interval` ends with it; then emits the interval's values.
  void emit(const pwr::MetricDescription* metric, bool complete, const Interval& interval,
            SampleBatch& batch);

 private:
  struct Row {
    const pwr::EntityHandle* entity;
    const pwr::DataDescriptor* descriptor;
    std::optional<double> before;  // at the start of the interval
    std::optional<double> now;
  };

  std::vector<Row> rows_;
};

}  // namespace tavrin
