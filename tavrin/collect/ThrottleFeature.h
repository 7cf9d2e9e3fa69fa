#pragma once

#include <memory>
#include <optional>

#include "tavrin/collect/CoolingDevices.h"
#include "tavrin/collect/CpuCounters.h"
#include "tavrin/collect/Feature.h"

namespace tavrin {

/// How often heat made processors slow down, by their own choice, from the folders
/// `thermal_throttle` of the CPUs as Documentation/ABI/testing/sysfs-devices-system-cpu has them;
/// and the states of cooling devices. The count of a package is the same on all of its CPUs, and
/// read on the first of them. CPUs join when they come online.
class ThrottleFeature : public Feature {
 public:
  ThrottleFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;
  void remainder(SampleBatch& batch) const override;

 private:
  void addCounters();
  void addCounter(const CpuEntities::Cpu& cpu, const pwr::EntityHandle* entity, const char* file);

  const SysRoot* root_ = nullptr;
  CpuEntities* cpus_ = nullptr;
  const pwr::DataDescriptor* descriptor_ = nullptr;  // comes with the first counter
  std::unique_ptr<CpuCounters> counters_ = std::make_unique<CpuCounters>();
  std::optional<CoolingDevices> cooling_;
  const pwr::MetricDescription* coolingMetric_ = nullptr;  // null where there are no devices
};

}  // namespace tavrin
