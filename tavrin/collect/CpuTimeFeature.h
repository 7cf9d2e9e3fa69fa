#pragma once

#include <array>
#include <memory>
#include <string_view>
#include <vector>

#include "tavrin/collect/Feature.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/ResidencyCarry.h"
#include "tavrin/collect/StatFile.h"
#include "writers/host/EntityHandle.h"

namespace tavrin {

/// Time that each CPU spent for user programs, the system, interrupts and idle, which the kernel
/// counts in jiffies. A CPU that is missing (offline) has a gap, and starts again when it is back;
/// others join when they come online.
class CpuTimeFeature : public Feature {
 public:
  explicit CpuTimeFeature(std::shared_ptr<StatFile> stat);

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;
  void remainder(SampleBatch& batch) const override;

 private:
  static constexpr std::size_t kStates = 8;
  using Counters = std::array<unsigned long long, kStates>;

  struct BusyCpu {
    const pwr::EntityHandle* entity = nullptr;
    ResidencyCarry carry{kStates};
    Counters jiffies{};  // as of the last pass
    bool valid = false;  // whether that pass found them
    bool seen = false;   // whether this pass found them
  };

  void createMetric(unsigned int containerId);
  BusyCpu* parse(std::string_view line, Counters& jiffies);
  void update(BusyCpu& cpu, const Counters& jiffies, bool complete, IntervalPoint& point);

  const std::shared_ptr<StatFile> stat_;
  Interval interval_;
  CpuEntities* allCpus_ = nullptr;
  std::vector<BusyCpu> cpus_;  // by CPU number; those without an entity are not collected
  std::vector<const pwr::DataDescriptor*> descriptors_;
};

}  // namespace tavrin
