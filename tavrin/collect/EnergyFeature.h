#pragma once

#include <memory>

#include "tavrin/collect/EnergyCounters.h"
#include "tavrin/collect/Feature.h"

namespace tavrin {

/// Energy in mJ of each power zone; its rate is power in W. Zones are entities of their own,
/// without parents: a package's energy includes that of its parts. One that cannot be read at the
/// start is described, and has no values; an interval in which a counter began anew is a gap.
class EnergyFeature : public Feature {
 public:
  explicit EnergyFeature(std::shared_ptr<EnergyCounters> counters);

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void expectLast() override { counters_->expectLast(); }
  void sample(unsigned long long now, SampleBatch& batch) override;

 private:
  const std::shared_ptr<EnergyCounters> counters_;
  const pwr::DataDescriptor* descriptor_ = nullptr;
};

}  // namespace tavrin
