#pragma once

#include <optional>

#include "tavrin/collect/CStateCounters.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/TimeTable.h"

namespace tavrin {

/// Sleep as the hardware granted it, which is less than the kernel asked for: time that packages
/// and cores spent in their states (`CStateCounters`, of this machine only), and time that all
/// processors, or the whole machine, were in the deepest one, from the files low_power_idle_* as
/// Documentation/ABI/testing/sysfs-devices-system-cpu has them. These the hardware counts in steps.
class PackageIdleFeature : public Feature {
 public:
  PackageIdleFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;
  void remainder(SampleBatch& batch) const override;

 private:
  struct File {
    OpenFile file;
    std::size_t row;
  };
  /// Counters of a source, and the metric that they have where they could be opened.
  struct Source {
    CStateCounters counters;
    const char* metric;
    const pwr::MetricDescription* description = nullptr;
  };

  void findFiles(const SysRoot& root);
  const pwr::MetricDescription* add(pwr::MetricDescription metric, const char* name,
                                    unsigned int containerId);

  CpuEntities* cpus_ = nullptr;
  Interval interval_;
  std::vector<File> files_;
  TimeTable times_;
  const pwr::MetricDescription* timesMetric_ = nullptr;  // null where there are no files
  std::vector<Source> sources_;
};

}  // namespace tavrin
