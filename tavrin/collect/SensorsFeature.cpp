#include "tavrin/collect/SensorsFeature.h"

#include <string_view>

#include "tavrin/collect/HardwareMonitors.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

struct SensorKind {
  const char* prefix;                // of the files
  std::vector<const char*> endings;  // of those with values, the best first
  const char* metric;
  pwr::QuantityType type;
  const char* quantity;
  const char* units;
  double countsPerUnit;
};

const std::vector<SensorKind>& sensorKinds() {
  using Type = pwr::QuantityType;
  static const std::vector<SensorKind> kinds{
      {"fan", {"_input"}, "Fan Speed", Type::Other, "Speed", "RPM", 1.0},
      {"in", {"_input"}, "Voltage", Type::Voltage, "Voltage", "V", 1e3},
      {"curr", {"_input"}, "Current", Type::Other, "Current", "A", 1e3},
      {"power", {"_input", "_average"}, "Sensor Power", Type::Power, "Power", "W", 1e6},
  };
  return kinds;
}

/// In microjoules, as the sensors count.
const pwr::Quantity* createSensorEnergyQuantity() {
  const pwr::Quantity* power =
      pwr::createQuantity({.type = pwr::QuantityType::Power, .name = "Power", .units = "W"});
  return pwr::createQuantity({.type = pwr::QuantityType::Energy,
                              .name = "Energy",
                              .units = "uJ",
                              .rate = power,
                              .rateFactor = 1e-6});
}

}  // namespace

SensorsFeature::SensorsFeature()
    : Feature("sensors", "Sensors", "Fans, voltages, currents and power of hardware monitors") {}

std::optional<SensorsFeature::Monitor> SensorsFeature::open(std::string_view key) {
  const std::string monitor(takeWord(key));
  Monitor opened;
  bool isEmpty = true;
  for (std::size_t kind = 0; kind < kKinds; ++kind) {
    const SensorKind& facts = sensorKinds()[kind];
    for (MonitorSensor& sensor : findSensors(*root_, monitor, facts.prefix, facts.endings)) {
      const pwr::EntityHandle* const entity = entities_.of(sensor.name);
      if (entity == nullptr) continue;
      if (descriptors_[kind] == nullptr) {
        descriptors_[kind] =
            pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(facts.quantity, ""));
      }
      opened.gauges[kind].push_back(
          {OpenFile(std::move(sensor.path)), values_[kind].add(entity, descriptors_[kind])});
      isEmpty = false;
    }
  }
  for (MonitorSensor& sensor : findSensors(*root_, monitor, "energy", {"_input"})) {
    opened.energies.push_back({OpenFile(std::move(sensor.path)), std::move(sensor.name)});
    isEmpty = false;
  }
  if (isEmpty) return std::nullopt;
  return opened;
}

void SensorsFeature::findMonitors() {
  monitors_.meet(monitorKeys(*root_), [this](const std::string& key) { return open(key); });
}

void SensorsFeature::read() {
  monitors_.forEach([this](Monitor& monitor) {
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
      const double perUnit = sensorKinds()[kind].countsPerUnit;
      for (Gauge& gauge : monitor.gauges[kind]) {
        long long count = 0;
        if (gauge.file.readNumber(count) != 0) continue;
        values_[kind].note(gauge.row, static_cast<double>(count) / perUnit);
      }
    }
    for (Energy& energy : monitor.energies) {
      unsigned long long microjoules = 0;
      if (energy.file.readNumber(microjoules) == 0) energies_.note(energy.name, {&microjoules, 1});
    }
    return true;
  });
}

void SensorsFeature::createMetrics(unsigned int containerId) {
  const auto group = std::make_shared<const pwr::Field>("Sensor");
  for (std::size_t kind = 0; kind < kKinds; ++kind) {
    if (values_[kind].empty()) continue;
    const SensorKind& facts = sensorKinds()[kind];
    valueMetrics_[kind] = addMetric(
        pwr::createMetric({.containerId = containerId,
                           .name = facts.metric,
                           .featureTag = tag(),
                           .type = pwr::Metric::MetricType::SampledValue,
                           .legacyType = pwr::RealTableClass::Value,
                           .quantity = pwr::createQuantity(
                               {.type = facts.type, .name = facts.quantity, .units = facts.units}),
                           .combinations = values_[kind].combinations(),
                           .entityGroup = group}));
  }
  if (energies_.empty()) return;
  pwr::MetricDescription metric = energies_.describe(
      {"Sensor Energy", createSensorEnergyQuantity(), {{0, "Energy", "Counted by the sensor"}}});
  metric.containerId = containerId;
  metric.featureTag = tag();
  energyMetric_ = addMetric(pwr::createMetric(std::move(metric)));
}

std::string SensorsFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                  unsigned int containerId) {
  root_ = &root;
  monitors_.follow(root);
  findMonitors();
  read();
  createMetrics(containerId);
  energies_.endPass();
  if (!metrics().empty()) return {};
  return std::string("no fans, voltages, currents, power or energy below ") + kMonitors;
}

void SensorsFeature::sample(unsigned long long now, SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  if (monitors_.isDue(now)) findMonitors();
  read();
  for (std::size_t kind = 0; kind < kKinds; ++kind) {
    values_[kind].emit(valueMetrics_[kind], complete && valueMetrics_[kind] != nullptr, interval_,
                       batch);
  }
  if (complete && energyMetric_ != nullptr) energies_.emit(0, energyMetric_, interval_, batch);
  energies_.endPass();
}

}  // namespace tavrin
