#include "tavrin/collect/ThermalFeature.h"

#include <unistd.h>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/HardwareMonitors.h"
#include "tavrin/collect/SysRoot.h"

namespace tavrin {

namespace {

constexpr const char* kZones = "/sys/class/thermal";

/// Whether the file can be opened. Its value may come later: that of a sleeping device, for
/// example.
bool isReadable(const std::string& path) {
  return access(path.c_str(), R_OK) == 0;
}

}  // namespace

ThermalFeature::ThermalFeature()
    : Feature("thermal", "Temperature", "Temperatures of thermal zones and hardware monitors") {}

void ThermalFeature::addZones(const SysRoot& root) {
  const std::string prefix = "thermal_zone";
  for (const unsigned int number : root.listNumbered(kZones, prefix)) {
    const std::string zone = prefix + std::to_string(number);
    const std::string folder = std::string(kZones).append("/").append(zone);
    const std::string path = root.path(folder + "/temp");
    if (!isReadable(path)) continue;
    gauges_.add(path,
                pwr::createEntity({.name = sensorName("", root.readLine(folder + "/type"), zone),
                                   .level = "Thermal Zone"}));
  }
}

void ThermalFeature::addMonitors(const SysRoot& root) {
  const std::string prefix = "hwmon";
  for (const unsigned int number : root.listNumbered(kMonitors, prefix)) {
    const std::string monitor = prefix + std::to_string(number);
    for (const MonitorSensor& sensor : findSensors(root, monitor, "temp", {"_input"})) {
      gauges_.add(sensor.path, pwr::createEntity({.name = sensor.name, .level = "Sensor"}));
    }
  }
}

std::string ThermalFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                  unsigned int containerId) {
  addZones(root);
  addMonitors(root);
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
  gauges_.sample(now, metrics().front(), batch);
}

}  // namespace tavrin
