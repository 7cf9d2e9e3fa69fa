#include "tavrin/collect/EnergyFeature.h"

#include <utility>

#include "hostcommon/Descriptions.h"

namespace tavrin {

namespace {

const pwr::Quantity* createEnergyQuantity() {
  const pwr::Quantity* power =
      pwr::createQuantity({.type = pwr::QuantityType::Power, .name = "Power", .units = "W"});
  return pwr::createQuantity({.type = pwr::QuantityType::Energy,
                              .name = "Energy",
                              .units = "mJ",
                              .rate = power,
                              .rateFactor = 0.001});
}

}  // namespace

EnergyFeature::EnergyFeature(std::shared_ptr<EnergyCounters> counters)
    : Feature("energy", "Energy", "Energy and power of packages and their parts"),
      counters_(std::move(counters)) {}

std::string EnergyFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                 unsigned int containerId) {
  std::string whyAbsent = counters_->open(root);
  if (!whyAbsent.empty()) return whyAbsent;
  descriptor_ = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("Energy", ""));
  std::vector<pwr::Metric::EntityDescCombo> combinations;
  for (const pwr::EntityHandle* zone : counters_->entities()) {
    combinations.push_back({zone, descriptor_});
  }
  addMetric(pwr::createMetric({.containerId = containerId,
                               .name = "Energy",
                               .featureTag = tag(),
                               .type = pwr::Metric::MetricType::SampledDelta,
                               .legacyType = pwr::RealTableClass::Counter,
                               .quantity = createEnergyQuantity(),
                               .combinations = std::move(combinations),
                               .entityGroup = std::make_shared<const pwr::Field>("Zone")}));
  return {};
}

void EnergyFeature::sample(unsigned long long now, SampleBatch& batch) {
  counters_->readAt(now);
  IntervalPoint point(batch, metrics().front(), counters_->interval());
  for (const EnergyCounters::Zone& zone : counters_->zones()) {
    if (!zone.used) continue;
    point.of(zone.interval)
        .add(pwr::Data(static_cast<double>(*zone.used) / 1000.0), descriptor_, zone.entity);
  }
}

}  // namespace tavrin
