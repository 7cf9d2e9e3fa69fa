#pragma once

#include <memory>
#include <vector>

#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/collect/InterruptTable.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/KeyedCounters.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/StatFile.h"

namespace tavrin {

/// Interrupts, context switches and new processes of the whole machine, from /proc/stat; the
/// interrupts and the deferred work of each source, and of each CPU, from /proc/interrupts and
/// /proc/softirqs. All as Documentation/filesystems/proc.rst has them. A count that is missing or
/// has run backwards is a gap of that count.
class InterruptsFeature : public Feature {
 public:
  explicit InterruptsFeature(std::shared_ptr<StatFile> stat);

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;

 private:
  struct Sources {
    OpenFile file;
    InterruptTable table;
    const pwr::MetricDescription* metric = nullptr;
    const pwr::DataDescriptor* onCpu = nullptr;  // what they are called on a CPU
  };

  void describeSources(const SysRoot& root, unsigned int containerId);
  void describeCpus(unsigned int containerId);
  void sampleSources(bool complete, SampleBatch& batch);
  void sampleCpus(SampleBatch& batch);
  pwr::MetricDescription metricOf(unsigned int containerId, const char* name, const char* group);

  const std::shared_ptr<StatFile> stat_;
  CpuEntities* cpus_ = nullptr;
  Interval interval_;
  KeyedCounters activity_;
  const pwr::Quantity* events_ = nullptr;
  std::vector<Sources> sources_;
  const pwr::MetricDescription* perCpu_ = nullptr;  // null where there are no sources
};

}  // namespace tavrin
