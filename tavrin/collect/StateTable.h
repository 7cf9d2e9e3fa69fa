#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tavrin/collect/Interval.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// States of things that come and go, out of a few. The state that a thing has at the start of an
/// interval is told there, if it is another one than before. Whatever is none of the states, as
/// that of a thing which is gone, is "unknown".
///
/// Calls: in each pass `note` for all that is there, then `emit`.
class StateTable {
 public:
  explicit StateTable(std::vector<std::string> states) : states_(std::move(states)) {
    states_.emplace_back("unknown");
  }

  /// Returns the number of the row, the same one for the same thing. Things may be added at any
  /// time.
  std::size_t add(const pwr::EntityHandle* entity);
  bool empty() const { return rows_.empty(); }
  /// Of a metric of transitions, without container, feature and name. `level`: what the things are.
  pwr::MetricDescription describe(const std::string& level);

  /// Notes the state that the thing of a row has now.
  void note(std::size_t row, std::string_view state) { rows_[row].now = placeOf(state); }
  /// Ends the pass. `complete`: whether `interval` ends with it; then tells what had changed.
  void emit(const pwr::MetricDescription* metric, bool complete, const Interval& interval,
            SampleBatch& batch);

 private:
  /// Places among the states.
  struct Row {
    const pwr::EntityHandle* entity;
    std::size_t told;
    std::size_t before;  // at the start of the interval
    std::size_t now;
  };

  std::size_t unknown() const { return states_.size() - 1; }
  std::size_t placeOf(std::string_view state) const;

  std::vector<std::string> states_;
  const pwr::DataDescriptor* descriptor_ = nullptr;
  std::vector<Row> rows_;
  std::map<const pwr::EntityHandle*, std::size_t> places_;  // in rows_
};

}  // namespace tavrin
