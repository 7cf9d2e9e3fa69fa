#pragma once

#include <array>
#include <optional>

#include "tavrin/collect/DeviceSet.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/StateTable.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/collect/ValueTable.h"

namespace tavrin {

/// Power, energy, charge and status of batteries, those of devices (mice, headsets) and of
/// uninterruptible supplies too, as Documentation/ABI/testing/sysfs-class-power and
/// Documentation/power/power_supply_class.rst have them. A battery that is plugged in during the
/// run joins where there was one at the start.
///
/// Drivers do not agree on the sign of power and currents: power is without one, the status tells
/// where it goes. Where the driver counts currents and charges only, power is current × present
/// voltage, energy is charge × nominal voltage: the lowest one by design, as it is called, or the
/// present one where that is not told.
class BatteryFeature : public Feature {
 public:
  BatteryFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;

 private:
  enum Value : std::size_t { kPower, kEnergy, kCharge, kValues };
  /// A value that is read from a file of its own or, where there is none, from two.
  struct Reading {
    std::optional<std::size_t> row;  // empty where the battery does not tell
    std::optional<OpenFile> direct;
    std::optional<OpenFile> factor;
  };
  struct Battery {
    std::array<Reading, kValues> readings;
    std::optional<OpenFile> voltage;
    long long nominalMicrovolts = 0;  // 0 where it is not told
    std::optional<OpenFile> status;
    std::size_t statusRow = 0;
  };

  void findBatteries();
  std::optional<Battery> open(const std::string& name);
  void addRows(Battery& battery, const pwr::EntityHandle* entity);
  std::optional<OpenFile> openNumber(const std::string& path) const;
  bool read(Battery& battery);
  static std::optional<double> valueOf(Battery& battery, Value value);
  void createMetrics(unsigned int containerId);

  const SysRoot* root_ = nullptr;
  Interval interval_;
  DeviceSet<Battery> batteries_;
  NamedEntities entities_{"Battery"};
  std::array<const pwr::DataDescriptor*, kValues> descriptors_{};
  std::array<ValueTable, kValues> values_;
  StateTable states_;
  std::array<const pwr::MetricDescription*, kValues> valueMetrics_{};  // null where there are none
  const pwr::MetricDescription* statusMetric_ = nullptr;               // likewise
};

}  // namespace tavrin
