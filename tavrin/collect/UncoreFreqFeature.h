#pragma once

#include "tavrin/collect/Feature.h"
#include "tavrin/collect/GaugeSet.h"

namespace tavrin {

/// Frequencies of what packages have beside their cores (caches, interconnects, memory
/// controllers), as Documentation/admin-guide/pm/intel_uncore_frequency_scaling.rst has them: of
/// each die, and of each part of it where the driver tells them apart.
class UncoreFreqFeature : public Feature {
 public:
  UncoreFreqFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;

 private:
  GaugeSet gauges_{"Frequency"};
};

}  // namespace tavrin
