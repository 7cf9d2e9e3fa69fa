#include "tavrin/collect/ThermalFeature.h"

#include <utility>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/HardwareMonitors.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/SysRoot.h"

namespace tavrin {

namespace {

constexpr const char* kZones = "/sys/class/thermal";
constexpr const char* kZone = "thermal_zone";

}  // namespace

ThermalFeature::ThermalFeature()
    : Feature("thermal", "Temperature", "Temperatures of thermal zones and hardware monitors") {}

GaugeSet::Numbers ThermalFeature::openZone(const std::string& zone) {
  const std::string folder = std::string(kZones).append("/").append(zone);
  const std::string path = root_->path(folder + "/temp");
  if (!OpenFile::isReadable(path)) return {};
  const pwr::EntityHandle* const entity =
      zones_.of(sensorName("", root_->readLine(folder + "/type"), zone));
  if (entity == nullptr) return {};
  return {gauges_.add(path, entity)};
}

GaugeSet::Numbers ThermalFeature::openMonitor(const std::string& monitor) {
  GaugeSet::Numbers gauges;
  for (const MonitorSensor& sensor : findSensors(*root_, monitor, "temp", {"_input"})) {
    const pwr::EntityHandle* const entity = sensors_.of(sensor.name);
    if (entity != nullptr) gauges.push_back(gauges_.add(sensor.path, entity));
  }
  return gauges;
}

/// The key of a zone is its folder.
GaugeSet::Numbers ThermalFeature::open(const std::string& key) {
  return key.starts_with(kZone) ? openZone(key) : openMonitor(key.substr(0, key.find(' ')));
}

void ThermalFeature::findDevices() {
  std::vector<std::string> keys;
  for (const unsigned int number : root_->listNumbered(kZones, kZone)) {
    keys.push_back(kZone + std::to_string(number));
  }
  for (std::string& key : monitorKeys(*root_)) keys.push_back(std::move(key));
  gauges_.meet(keys, [this](const std::string& key) { return open(key); });
}

std::string ThermalFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                  unsigned int containerId) {
  root_ = &root;
  gauges_.follow(root);
  findDevices();
  if (gauges_.empty()) {
    return std::string("no readable temperatures below ") + kZones + " and " + kMonitors;
  }
  addMetric(pwr::createMetric(
      {.containerId = containerId,
       .name = "Temperature",
       .featureTag = tag(),
       .type = pwr::Metric::MetricType::SampledValue,
       .legacyType = pwr::RealTableClass::Value,
       .quantity = pwr::createQuantity(
           {.type = pwr::QuantityType::Temperature, .name = "Temperature", .units = "C"}),
       .combinations = gauges_.combinations(),
       .entityGroup = std::make_shared<const pwr::Field>("Sensor")}));
  return {};
}

void ThermalFeature::sample(unsigned long long now, SampleBatch& batch) {
  if (gauges_.isDue(now)) findDevices();
  gauges_.sample(now, metrics().front(), batch);
}

}  // namespace tavrin
