#pragma once

#include <string>

#include "tavrin/collect/DeviceSet.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/collect/GaugeSet.h"

namespace tavrin {

/// Temperatures in degrees Celsius, of the thermal zones (Documentation/ABI/testing/
/// sysfs-class-thermal) and of the hardware monitors. Neither the types of zones nor the names of
/// monitors are unique, so entities are named after both the sensor and its folder: "board
/// (thermal_zone0)", "chip Core 0 (hwmon1)". Both come and go with their drivers.
class ThermalFeature : public Feature {
 public:
  ThermalFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void expectLast() override { gauges_.expectLast(); }
  void sample(unsigned long long now, SampleBatch& batch) override;

 private:
  void findDevices();
  GaugeSet::Numbers open(const std::string& key);
  GaugeSet::Numbers openZone(const std::string& zone);
  GaugeSet::Numbers openMonitor(const std::string& monitor);

  const SysRoot* root_ = nullptr;
  GaugeSet gauges_{"Temperature"};
  NamedEntities zones_{"Thermal Zone"};
  NamedEntities sensors_{"Sensor"};
};

}  // namespace tavrin
