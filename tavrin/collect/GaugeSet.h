#pragma once

#include <string>
#include <vector>

#include "tavrin/collect/Interval.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/Turns.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// Files that each hold the present value of some entity, in thousandths of the metric's unit.
/// The reading at the start of an interval stands for the interval; where it failed, the entity has
/// a gap. Those whose files cannot stay open are read by turns.
class GaugeSet {
 public:
  /// `valueName` names what the gauges show, in the descriptor that comes with the first gauge.
  explicit GaugeSet(std::string valueName) : valueName_(std::move(valueName)) {}

  void add(std::string path, const pwr::EntityHandle* entity);

  bool empty() const { return gauges_.empty(); }
  /// One for each gauge, as the metric's description needs them.
  std::vector<pwr::Metric::EntityDescCombo> combinations() const;

  /// See `Feature`.
  void expectLast() { turns_.takeAll(); }
  /// Emits the interval that ends at `now` ticks and reads the values of the next one.
  void sample(unsigned long long now, const pwr::MetricDescription* metric, SampleBatch& batch);

 private:
  struct Gauge {
    OpenFile file;
    const pwr::EntityHandle* entity = nullptr;
    long long thousandths = 0;
    bool valid = false;
    Interval interval = {};
  };

  const std::string valueName_;
  const pwr::DataDescriptor* descriptor_ = nullptr;
  Turns turns_;
  std::vector<Gauge> gauges_;
};

}  // namespace tavrin
