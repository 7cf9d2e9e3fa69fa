#pragma once

#include <map>
#include <span>
#include <string>
#include <vector>

#include "tavrin/collect/Interval.h"
#include "tavrin/collect/ResidencyCarry.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// Counted times that things which come and go spent in their states, of which each is in one at a
/// time. A thing that is not there at the start or the end of an interval, or of which a time has
/// run backwards, has a gap.
///
/// Calls: in each pass `note` for all that is there, then `emit`; `remainder` at the end.
class TimeTable {
 public:
  using Descriptors = std::vector<const pwr::DataDescriptor*>;

  /// `unit`: ticks that a count of 1 stands for.
  explicit TimeTable(unsigned long long unit) : unit_(unit) {}

  /// Returns the number of the row, the same one for the same thing. Things may be added at any
  /// time. `states`: of the thing; those of the first time count. `isNew`: all it has counted is of
  /// this interval.
  std::size_t add(const pwr::EntityHandle* entity, const Descriptors& states, bool isNew = false);
  bool empty() const { return rows_.empty(); }
  /// Of a metric of the rows so far, without container, feature and name. `level`: what the things
  /// are.
  pwr::MetricDescription describe(const std::string& level) const;

  /// Notes what the thing of a row has now counted in each of its states.
  void note(std::size_t row, std::span<const unsigned long long> counts);
  /// Ends the pass. `complete`: whether `interval` ends with it; then emits the interval's times.
  void emit(const pwr::MetricDescription* metric, bool complete, const Interval& interval,
            SampleBatch& batch);
  void remainder(const pwr::MetricDescription* metric, SampleBatch& batch) const;

 private:
  struct Row {
    const pwr::EntityHandle* entity;
    Descriptors states;
    ResidencyCarry carry;
    std::vector<unsigned long long> before;
    std::vector<unsigned long long> now;
    std::vector<unsigned long long> ticks;  // of the interval
    bool isKnown = false;                   // from the last pass
    bool isNoted = false;                   // in this pass
  };

  bool grow(Row& row) const;

  const unsigned long long unit_;
  std::vector<Row> rows_;
  std::map<const pwr::EntityHandle*, std::size_t> places_;  // in rows_
};

}  // namespace tavrin
