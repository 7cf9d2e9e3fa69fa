#include "tavrin/collect/EnergyFeature.h"

#include <algorithm>
#include <system_error>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/SysRoot.h"

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

EnergyFeature::EnergyFeature()
    : Feature("energy", "Energy", "Energy and power of packages and their parts") {}

std::string EnergyFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                 unsigned int containerId) {
  root_ = &root;
  int failure = 0;
  std::vector<pwr::Metric::EntityDescCombo> combinations;
  for (const PowerZone& zone : findPowerZones(root)) {
    OpenFile energy(root.path(zone.folder + "/energy_uj"));
    unsigned long long microjoules = 0;
    const int error = energy.readNumber(microjoules);
    if (error != 0) {
      failure = error;
      continue;
    }
    if (descriptor_ == nullptr) {
      descriptor_ = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("Energy", ""));
    }
    const auto* entity = pwr::createEntity({.name = zone.name, .level = "Power Zone"});
    combinations.push_back({entity, descriptor_});
    zones_.push_back({.key = zone.key,
                      .entity = entity,
                      .energy = std::move(energy),
                      .range = OpenFile(root.path(zone.folder + "/max_energy_range_uj"))});
  }
  if (zones_.empty()) {
    const std::string where = std::string(" below ") + kPowerZones;
    if (failure == 0) return "no energy counters" + where;
    // Usual on a machine that keeps the counters from all users but root.
    return "the energy counters" + where +
           " cannot be read: " + std::generic_category().message(failure);
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

bool EnergyFeature::growth(Zone& zone, unsigned long long now, unsigned long long& microjoules) {
  if (now >= zone.microjoules) {
    microjoules = now - zone.microjoules;
    return true;
  }
  unsigned long long range = 0;
  if (zone.range.readNumber(range) != 0 || range < zone.microjoules) return false;
  microjoules = range - zone.microjoules + now;
  return true;
}

void EnergyFeature::sample(unsigned long long now, SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  IntervalPoint point(batch, metrics().front(), interval_);
  for (Zone& zone : zones_) {
    // Whatever is in the folder of a lost zone may be another one.
    unsigned long long microjoules = 0;
    zone.lost = zone.lost || zone.energy.readNumber(microjoules) != 0;
    if (zone.lost) continue;
    unsigned long long used = 0;
    if (complete && zone.valid && growth(zone, microjoules, used)) {
      point.add(pwr::Data(static_cast<double>(used) / 1000.0), descriptor_, zone.entity);
    }
    zone.microjoules = microjoules;
    zone.valid = true;
  }
  if (std::ranges::any_of(zones_, &Zone::lost)) findLostZones();
}

/// Meets lost zones in the folders that they have now. Their interval is a gap, as the driver may
/// have restarted the counter; the next one begins here.
void EnergyFeature::findLostZones() {
  const std::vector<PowerZone> present = findPowerZones(*root_);
  for (Zone& zone : zones_) {
    const auto found = std::ranges::find(present, zone.key, &PowerZone::key);
    if (!zone.lost || found == present.end()) continue;
    zone.energy = OpenFile(root_->path(found->folder + "/energy_uj"));
    zone.range = OpenFile(root_->path(found->folder + "/max_energy_range_uj"));
    zone.valid = zone.energy.readNumber(zone.microjoules) == 0;
    zone.lost = !zone.valid;
  }
}

}  // namespace tavrin
