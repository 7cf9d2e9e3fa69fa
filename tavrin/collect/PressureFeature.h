#pragma once

#include <array>
#include <string_view>
#include <vector>

#include "tavrin/collect/Feature.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/ResidencyCarry.h"

namespace tavrin {

/// Time in which some tasks of the machine, or all that had something to do, waited for a resource,
/// from /proc/pressure as Documentation/accounting/psi.rst has it. The two overlap. The kernel
/// weighs the times of CPUs, so they may grow by a little more than has passed. A time that cannot
/// be read or has run backwards is a gap.
class PressureFeature : public Feature {
 public:
  PressureFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;
  void remainder(SampleBatch& batch) const override;

 private:
  struct Stall {
    bool isMeasured = false;  // whether the resource has it
    ResidencyCarry carry{1};
    unsigned long long before = 0;  // microseconds
    unsigned long long now = 0;
    bool isKnown = false;  // whether the last pass could read it
    bool isFound = false;  // whether this pass can
  };
  static constexpr std::size_t kStalls = 2;
  struct Resource {
    OpenFile file;
    const pwr::EntityHandle* entity = nullptr;
    std::array<Stall, kStalls> stalls;
  };

  void createMetric(unsigned int containerId);
  static int read(Resource& resource);
  void sampleStall(Stall& stall, bool complete, const pwr::DataDescriptor* descriptor,
                   const pwr::EntityHandle* entity, IntervalPoint& point);

  Interval interval_;
  std::vector<Resource> resources_;
  std::array<const pwr::DataDescriptor*, kStalls> descriptors_{};
};

}  // namespace tavrin
