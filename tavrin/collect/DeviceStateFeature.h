#pragma once

#include <array>
#include <optional>
#include <string>

#include "tavrin/collect/DeviceSet.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/StateTable.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/collect/TimeTable.h"

namespace tavrin {

/// Time that devices were active and suspended while the machine ran, and the changes between the
/// two, as Documentation/ABI/testing/sysfs-devices-power and Documentation/power/runtime_pm.rst
/// have them; of PCI devices also the D-state (Documentation/ABI/testing/sysfs-bus-pci). Devices
/// without runtime power management, usually most of them, are left out. Others join as they come.
class DeviceStateFeature : public Feature {
 public:
  DeviceStateFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;
  void remainder(SampleBatch& batch) const override;

 private:
  struct PciState {
    OpenFile file;
    std::size_t row = 0;
    std::string state;
  };
  struct Device {
    OpenFile statusFile;
    OpenFile activeTime;
    OpenFile suspendedTime;
    std::optional<PciState> pci;
    std::size_t timeRow = 0;
    std::size_t statusRow = 0;
    std::string status;
    unsigned long long due = 0;                  // in ticks: when the states are read in any case
    std::array<unsigned long long, 2> counts{};  // active, suspended
    bool wasActive = false;                      // in the last interval
  };

  void findDevices();
  std::optional<Device> open(const std::string& key);
  bool read(Device& device, unsigned long long now);
  bool readStates(Device& device, unsigned long long now);
  const pwr::MetricDescription* addStates(StateTable& states, const char* name,
                                          unsigned int containerId);

  const SysRoot* root_ = nullptr;
  Interval interval_;
  DeviceSet<Device> devices_;
  NamedEntities entities_{"Device"};
  TimeTable::Descriptors timeStates_;
  TimeTable times_;
  StateTable statuses_;
  StateTable pciStates_;
  const pwr::MetricDescription* timesMetric_ = nullptr;
  const pwr::MetricDescription* statusMetric_ = nullptr;
  const pwr::MetricDescription* pciMetric_ = nullptr;  // null where there are no PCI devices
};

}  // namespace tavrin
