#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tavrin/collect/Interval.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// A metric of the growth of some counters of each thing.
struct CounterMetric {
  struct Counter {
    std::size_t index;  ///< among the counters of a thing
    const char* name;
    const char* description;
    unsigned long long unit = 1;  ///< what a count of 1 stands for
  };

  const char* name;
  const pwr::Quantity* quantity;
  std::vector<Counter> counters;
};

/// Counters of things that have names and that come and go, as disks and network interfaces do. An
/// interval has what was there at its start and at its end; what has counted backwards in any of
/// its counters is another thing of that name, and has a gap. A thing joins when it has counted for
/// the first time, until there are `kMost`.
///
/// Calls: in each pass `note` for all that is there, `emit` for each metric, `endPass`. The pass
/// before the collection, which finds what the metrics begin with, has `describe` for `emit`.
class CounterTable {
 public:
  static constexpr std::size_t kMost = 1024;

  /// `level`: what the things are. `counters`: how many each has.
  CounterTable(std::string level, std::size_t counters)
      : level_(std::move(level)), counters_(counters) {}

  /// Notes the counts that a thing has now. What has no name is none. Returns its entity; null
  /// until it has joined.
  const pwr::EntityHandle* note(std::string_view name, std::span<const unsigned long long> counts);
  /// Whether nothing has counted so far.
  bool empty() const { return entities_ == 0; }

  /// Describes a metric of the things so far. The others take part in it too when they have joined.
  pwr::MetricDescription describe(const CounterMetric& metric);
  /// Emits the growth since the last pass, for the `place`th metric that was described.
  void emit(std::size_t place, const pwr::MetricDescription* metric, const Interval& interval,
            SampleBatch& batch) const;
  /// Ends the pass: what was not noted in it is gone.
  void endPass();

 private:
  struct Row {
    const pwr::EntityHandle* entity = nullptr;  // null until it has counted
    std::vector<unsigned long long> now;
    std::vector<unsigned long long> before;
    bool isNoted = false;  // in this pass
    bool isKnown = false;  // from the last one
  };
  struct Part {
    std::vector<CounterMetric::Counter> counters;
    std::vector<const pwr::DataDescriptor*> descriptors;
  };

  static bool hasInterval(const Row& row);

  const std::string level_;
  const std::size_t counters_;
  std::map<std::string, Row, std::less<>> rows_;
  std::size_t entities_ = 0;
  std::vector<Part> parts_;
};

}  // namespace tavrin
