#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "writers/common/SeriesIndex.h"
#include "writers/common/WriterLog.h"
#include "writers/continuous/ContinuousCommon.h"
#include "writers/continuous/ElementValue.h"
#include "writers/continuous/TraceContainer.h"
#include "writers/host/Metric.h"

/// The containers of a JSON trace, gathered from the samples of a run. A container is one metric on
/// one entity; a group is one metric over all its entities.
class TraceModel {
 public:
  struct Group {
    std::string name;
    /// In the order of their first values.
    std::vector<std::unique_ptr<TraceContainer>> containers;
  };

  void setClock(const ContinuousClock& clock) { clock_ = clock; }
  /// Adds the values of a sample. Elements without a descriptor or without a value that a trace can
  /// hold are left out with a warning.
  void add(const pwr::Metric& metric);
  /// In the order in which their metrics were first seen.
  const std::vector<Group>& groups() const { return groups_; }

 private:
  /// Where the values of one pair of entity and descriptor go.
  struct Series {
    TraceContainer* container = nullptr;
    std::uint32_t label = 0;  ///< of values that are numbers: that of the descriptor's name
    bool hasLabel = false;
  };
  struct MetricState {
    bool hasStates = false;
    bool isRate = false;  ///< durations are not in ticks
    SeriesIndex<Series> series;
    std::unordered_map<unsigned long long, TraceContainer*> containers;  ///< by entity id
  };

  MetricState& stateOf(const pwr::Metric& metric);
  /// `start`: the sample's time on the trace's clock.
  void addElement(const pwr::Metric& metric, MetricState& state, const pwr::DataElement& element,
                  unsigned long long start);
  TraceContainer* containerOf(const pwr::Metric& metric, MetricState& state,
                              const pwr::EntityHandle* entity);

  ContinuousClock clock_;
  std::unique_ptr<RecordBlocks> memory_ = std::make_unique<RecordBlocks>();  ///< of the values
  std::vector<Group> groups_;
  std::unordered_map<std::string, std::size_t> groupPlaces_;
  std::unordered_map<unsigned int, MetricState> metrics_;
  ElementValue value_;
  ToldProblems told_;
  unsigned long long sample_ = 0;
};
