#include "tavrin/collect/GaugeSet.h"

namespace tavrin {

void GaugeSet::add(std::string path, const pwr::EntityHandle* entity) {
  if (descriptor_ == nullptr) {
    descriptor_ = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(valueName_, ""));
  }
  gauges_.push_back({OpenFile(std::move(path)), entity});
  gauges_.back().file.openAhead();  // what fails now is tried again by each reading
}

std::vector<pwr::Metric::EntityDescCombo> GaugeSet::combinations() const {
  std::vector<pwr::Metric::EntityDescCombo> combinations;
  for (const Gauge& gauge : gauges_) combinations.push_back({gauge.entity, descriptor_});
  return combinations;
}

void GaugeSet::sample(unsigned long long now, const pwr::MetricDescription* metric,
                      SampleBatch& batch) {
  turns_.beginPass(now);
  const Interval none;
  IntervalPoint point(batch, metric, none);
  for (Gauge& gauge : gauges_) {
    if (!gauge.file.staysOpen() && !turns_.isNext(1)) continue;
    if (gauge.interval.advance(now) && gauge.valid) {
      point.of(gauge.interval)
          .add(pwr::Data(static_cast<double>(gauge.thousandths) / 1000.0), descriptor_,
               gauge.entity);
    }
    gauge.valid = gauge.file.readNumber(gauge.thousandths) == 0;
  }
}

}  // namespace tavrin
