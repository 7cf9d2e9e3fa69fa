#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "tavrin/collect/Interval.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// Counters of the whole machine that a text of the kernel has in lines of their own: a key, a
/// blank, the count. A count that is missing or has run backwards is a gap of that count.
class KeyedCounters {
 public:
  struct Counter {
    std::string_view key;
    const char* name;
    const char* description;
    unsigned long long unit = 1;  ///< what a count of 1 stands for
  };

  /// `counters` must outlive this.
  explicit KeyedCounters(std::span<const Counter> counters)
      : counters_(counters), states_(counters.size()) {}

  /// Describes the counters that the text has; further passes look for these only. Empty when it
  /// has none.
  std::vector<pwr::Metric::EntityDescCombo> describe(std::string_view text);

  /// Takes the counts of a pass. `complete`: whether an interval ends with it, whose growth `point`
  /// gets.
  void sample(std::string_view text, bool complete, IntervalPoint& point);

 private:
  struct State {
    const pwr::DataDescriptor* descriptor = nullptr;
    unsigned long long before = 0;
    unsigned long long now = 0;
    bool isKnown = false;  // whether the last pass found it
    bool isFound = false;  // whether this pass did
  };

  void read(std::string_view text);

  std::span<const Counter> counters_;
  std::vector<State> states_;  // in the order of the counters
};

}  // namespace tavrin
