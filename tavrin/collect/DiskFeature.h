#pragma once

#include <map>

#include "tavrin/collect/CounterFileFeature.h"

namespace tavrin {

/// What was read from, written to and discarded on each disk, from the table /proc/diskstats as
/// Documentation/admin-guide/iostats.rst has it. Partitions are part of their disk; devices made of
/// others (dm-0, md0) count again what those have counted.
class DiskFeature : public CounterFileFeature {
 public:
  DiskFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;

 private:
  void readLine(std::string_view line, CounterTable& things) override;
  std::vector<CounterMetric> describeMetrics() const override;
  bool isDisk(std::string_view name);

  const SysRoot* root_ = nullptr;
  std::map<std::string, bool, std::less<>> isDisk_;  // of the names seen
};

}  // namespace tavrin
