#pragma once

#include "tavrin/collect/Feature.h"
#include "tavrin/collect/GaugeSet.h"

namespace tavrin {

/// The present frequency of each frequency policy in MHz. A policy is an entity named after itself
/// and its CPUs: "Policy0 (CPU0-3)".
class CpuFreqFeature : public Feature {
 public:
  CpuFreqFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;

 private:
  GaugeSet gauges_{"Frequency"};
};

}  // namespace tavrin
