#pragma once

#include <array>
#include <memory>

#include "tavrin/collect/Feature.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/StatFile.h"

namespace tavrin {

/// Interrupts, context switches and new processes of the whole system. A count that is missing or
/// has run backwards is a gap of that count.
class InterruptsFeature : public Feature {
 public:
  explicit InterruptsFeature(std::shared_ptr<StatFile> stat);

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;

 private:
  struct Counter {
    const pwr::DataDescriptor* descriptor = nullptr;
    unsigned long long count = 0;  // as of the last pass
    bool valid = false;            // whether that pass found it
  };

  const std::shared_ptr<StatFile> stat_;
  Interval interval_;
  std::array<Counter, 3> counters_;
};

}  // namespace tavrin
