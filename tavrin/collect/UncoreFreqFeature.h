#pragma once

#include "tavrin/collect/Feature.h"
#include "tavrin/collect/GaugeSet.h"

namespace tavrin {

/// Frequencies of what packages have beside their cores (caches, interconnects, memory
/// controllers), as Documentation/admin-guide/pm/intel_uncore_frequency_scaling.rst has them: of
/// each die, and of each part of it where the driver tells them apart. They come and go with the
/// CPUs of their packages.
class UncoreFreqFeature : public Feature {
 public:
  UncoreFreqFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;

 private:
  void findUncores();
  GaugeSet::Numbers open(const std::string& folder);

  const SysRoot* root_ = nullptr;
  GaugeSet gauges_{"Frequency"};
  NamedEntities entities_{"Uncore"};
};

}  // namespace tavrin
