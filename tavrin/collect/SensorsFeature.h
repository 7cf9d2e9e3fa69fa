#pragma once

#include <array>
#include <vector>

#include "tavrin/collect/CounterTable.h"
#include "tavrin/collect/DeviceSet.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/collect/ValueTable.h"

namespace tavrin {

/// Speeds of fans, voltages, currents, power and energy of hardware monitors
/// (Documentation/ABI/testing/sysfs-class-hwmon); temperatures are those of `ThermalFeature`.
/// Monitors come and go with their drivers, and the kernel gives their numbers to others: one is
/// known by its number and the name of its chip. Of the kinds of sensors only those are collected
/// of which there is one at the start.
///
/// Drivers answer with all kinds of errors (ENODATA of a fan that is off, ENODEV of a device that
/// sleeps): each is a gap. An energy that has run backwards is one too, as the kernel does not tell
/// where it wraps.
class SensorsFeature : public Feature {
 public:
  SensorsFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;

 private:
  static constexpr std::size_t kKinds = 4;  // of values
  struct Gauge {
    OpenFile file;
    std::size_t row;
  };
  struct Energy {
    OpenFile file;
    std::string name;
  };
  struct Monitor {
    std::array<std::vector<Gauge>, kKinds> gauges;
    std::vector<Energy> energies;
  };

  void findMonitors();
  std::optional<Monitor> open(std::string_view key);
  void read();
  void createMetrics(unsigned int containerId);

  const SysRoot* root_ = nullptr;
  Interval interval_;
  DeviceSet<Monitor> monitors_;
  NamedEntities entities_{"Sensor"};
  std::array<const pwr::DataDescriptor*, kKinds> descriptors_{};
  std::array<ValueTable, kKinds> values_;
  CounterTable energies_{"Sensor", 1};
  std::array<const pwr::MetricDescription*, kKinds> valueMetrics_{};  // null where there are none
  const pwr::MetricDescription* energyMetric_ = nullptr;              // likewise
};

}  // namespace tavrin
