#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tavrin/collect/Interval.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/ResidencyCarry.h"
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
  std::vector<pwr::Metric::EntityDescCombo> combinations() const;

  void sample(unsigned long long now, const pwr::MetricDescription* metric, SampleBatch& batch);
  void remainder(const pwr::MetricDescription* metric, SampleBatch& batch) const;

 private:
  struct Policy {
    OpenFile file;
    const pwr::EntityHandle* entity = nullptr;
    std::vector<unsigned long long> kilohertz;
    std::vector<const pwr::DataDescriptor*> descriptors;  // by frequency, as all that follows
    ResidencyCarry carry{0};
    std::vector<unsigned long long> before;  // jiffies
    std::vector<unsigned long long> now;
    std::vector<unsigned long long> ticks;  // of the interval
    bool isKnown = false;                   // whether the last pass could read them
  };

  static bool read(Policy& policy);
  static bool grow(Policy& policy);
  const pwr::DataDescriptor* descriptor(unsigned long long kilohertz);

  Interval interval_;
  std::vector<Policy> policies_;
  std::map<unsigned long long, const pwr::DataDescriptor*> descriptors_;  // by frequency
};

}  // namespace tavrin
