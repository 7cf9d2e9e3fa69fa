#pragma once

#include <map>
#include <string>
#include <vector>

#include "tavrin/collect/Counting.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/TimeTable.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// Time that frequency policies spent at each of their frequencies, from `stats/time_in_state` as
/// Documentation/cpu-freq/cpufreq-stats.rst has it. The kernel counts in jiffies. A table that
/// cannot be read, has other frequencies or has run backwards is a gap.
class FrequencyTimes {
 public:
  /// Adds the policy's table in the file `path`, unless it has none.
  void add(std::string path, const pwr::EntityHandle* entity);
  bool empty() const { return policies_.empty(); }
  std::vector<pwr::Metric::EntityDescCombo> combinations() const {
    return times_.describe("Policy").combinations;
  }

  void sample(unsigned long long now, const pwr::MetricDescription* metric, SampleBatch& batch);
  void remainder(const pwr::MetricDescription* metric, SampleBatch& batch) const {
    times_.remainder(metric, batch);
  }

 private:
  struct Policy {
    OpenFile file;
    std::size_t row = 0;  // in times_
    std::vector<unsigned long long> kilohertz;
    std::vector<unsigned long long> jiffies;  // by frequency
  };

  static bool read(Policy& policy);
  const pwr::DataDescriptor* descriptor(unsigned long long kilohertz);

  Interval interval_;
  std::vector<Policy> policies_;
  TimeTable times_{ticksPerJiffy()};
  std::map<unsigned long long, const pwr::DataDescriptor*> descriptors_;  // by frequency
};

}  // namespace tavrin
