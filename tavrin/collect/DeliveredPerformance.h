#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/OpenFile.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// Performance that CPUs delivered while they ran, in percent of their nominal one, from the
/// feedback counters in `acpi_cppc` as Documentation/admin-guide/acpi/cppc_sysfs.rst has them. The
/// interval of a CPU that did not run, or whose counters cannot be read or began anew, is a gap. A
/// counter of 32 bits that has run backwards has wrapped where the time was long enough for it.
class DeliveredPerformance {
 public:
  /// Adds the CPU, unless it is there already or its firmware tells too little.
  void add(const SysRoot& root, const CpuEntities::Cpu& cpu);
  bool empty() const { return cpus_.empty(); }
  std::vector<pwr::Metric::EntityDescCombo> combinations() const;

  void sample(unsigned long long now, const pwr::MetricDescription* metric, SampleBatch& batch);

 private:
  struct Counters {
    unsigned long long reference = 0;
    unsigned long long delivered = 0;
  };
  struct Cpu {
    OpenFile file;
    const pwr::EntityHandle* entity = nullptr;
    double referencePercent = 0;           // of the nominal performance
    unsigned long long secondsToWrap = 0;  // at least; 0 when that is not known
    Counters before;
    bool isKnown = false;  // whether the last pass could read them
  };

  static bool read(Cpu& cpu, Counters& counters);
  std::optional<double> percent(const Cpu& cpu, const Counters& now) const;

  Interval interval_;
  std::vector<Cpu> cpus_;
  std::set<const pwr::EntityHandle*> entities_;  // of these CPUs
  const pwr::DataDescriptor* descriptor_ = nullptr;
};

}  // namespace tavrin
