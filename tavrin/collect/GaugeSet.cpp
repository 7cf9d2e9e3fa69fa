#include "tavrin/collect/GaugeSet.h"

namespace tavrin {

std::vector<pwr::Metric::EntityDescCombo> GaugeSet::combinations() const {
  std::vector<pwr::Metric::EntityDescCombo> combinations;
  for (const Gauge& gauge : gauges_) combinations.push_back({.entity = gauge.entity});
  return combinations;
}

void GaugeSet::sample(unsigned long long now, const pwr::MetricDescription* metric,
                      SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  IntervalPoint point(batch, metric, interval_);
  for (Gauge& gauge : gauges_) {
    if (complete && gauge.valid) {
      point.add(pwr::Data(static_cast<double>(gauge.thousandths) / 1000.0), nullptr, gauge.entity);
    }
    gauge.valid = gauge.file.readNumber(gauge.thousandths) == 0;
  }
}

}  // namespace tavrin
