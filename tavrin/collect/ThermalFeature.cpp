#include "tavrin/collect/ThermalFeature.h"

#include <unistd.h>

#include <set>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/SysRoot.h"

namespace tavrin {

namespace {

constexpr const char* kZones = "/sys/class/thermal";
constexpr const char* kMonitors = "/sys/class/hwmon";

/// Whether the file can be opened. Its value may come later: that of a sleeping device, for
/// example.
bool isReadable(const std::string& path) {
  return access(path.c_str(), R_OK) == 0;
}

/// "chip label (folder)"; either of the first two may be empty.
std::string sensorName(const std::string& chip, const std::string& label,
                       const std::string& folder) {
  std::string name = chip;
  if (!chip.empty() && !label.empty()) name += " ";
  name += label;
  return name.empty() ? folder : name + " (" + folder + ")";
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
  for (const unsigned int number : root.listNumbered(kMonitors, "hwmon")) {
    addMonitor(root, "hwmon" + std::to_string(number));
  }
}

void ThermalFeature::addMonitor(const SysRoot& root, const std::string& monitor) {
  const std::string folder = std::string(kMonitors) + "/" + monitor + "/";
  const std::string chip = root.readLine(folder + "name");
  std::set<std::string> labels;
  for (const unsigned int input : root.listNumbered(folder, "temp", "_input")) {
    const std::string sensor = "temp" + std::to_string(input);
    const std::string file = folder + sensor;
    const std::string path = root.path(file + "_input");
    if (!isReadable(path)) continue;
    std::string label = root.readLine(file + "_label");
    if (label.empty()) label = sensor;
    if (!labels.insert(label).second) label += " " + sensor;
    gauges_.add(path,
                pwr::createEntity({.name = sensorName(chip, label, monitor), .level = "Sensor"}));
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
