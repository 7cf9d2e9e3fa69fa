#pragma once

#include "tavrin/collect/Feature.h"
#include "tavrin/collect/GaugeSet.h"

namespace tavrin {

/// Temperatures in degrees Celsius, of the thermal zones and of the hardware monitors. Neither the
/// types of zones nor the names of monitors are unique, so entities are named after both the sensor
/// and its folder: "board (thermal_zone0)", "chip Core 0 (hwmon1)".
class ThermalFeature : public Feature {
 public:
  ThermalFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void expectLast() override { gauges_.expectLast(); }
  void sample(unsigned long long now, SampleBatch& batch) override;

 private:
  void addZones(const SysRoot& root);
  void addMonitors(const SysRoot& root);

  GaugeSet gauges_{"Temperature"};
};

}  // namespace tavrin
