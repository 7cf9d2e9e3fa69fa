#include "tavrin/collect/GaugeSet.h"

#include <algorithm>

namespace tavrin {

std::size_t GaugeSet::add(std::string path, const pwr::EntityHandle* entity) {
  if (descriptor_ == nullptr) {
    descriptor_ = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(valueName_, ""));
  }
  const auto [place, isNew] = numbers_.try_emplace(entity, gauges_.size());
  if (isNew) gauges_.push_back({.file = OpenFile(std::string()), .entity = entity, .isGone = true});
  Gauge& gauge = gauges_[place->second];
  if (!std::exchange(gauge.isGone, false)) return place->second;
  gauge.file = OpenFile(std::move(path));
  gauge.file.openAhead();  // what fails now is tried again by each reading
  return place->second;
}

bool GaugeSet::areThere(const Numbers& gauges) const {
  return std::ranges::none_of(gauges, [this](std::size_t gauge) { return gauges_[gauge].isGone; });
}

void GaugeSet::keepThoseOfDevices() {
  std::vector<bool> isKept(gauges_.size());
  devices_.forEach([&](const Numbers& gauges) {
    for (const std::size_t gauge : gauges) isKept[gauge] = true;
    return true;
  });
  for (std::size_t i = 0; i < gauges_.size(); ++i) {
    if (isKept[i]) continue;
    gauges_[i].file = OpenFile(std::string());
    gauges_[i].valid = false;
    gauges_[i].isGone = true;
  }
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
    if (gauge.isGone) continue;
    if (!gauge.file.staysOpen() && !turns_.isNext(1)) continue;
    if (gauge.interval.advance(now) && gauge.valid) {
      point.of(gauge.interval)
          .add(pwr::Data(static_cast<double>(gauge.thousandths) / 1000.0), descriptor_,
               gauge.entity);
    }
    const int error = gauge.file.readNumber(gauge.thousandths);
    gauge.valid = error == 0;
    gauge.isGone = areOfDevices_ && OpenFile::isGone(error);
    if (gauge.isGone) devices_.wantLook();
  }
}

}  // namespace tavrin
