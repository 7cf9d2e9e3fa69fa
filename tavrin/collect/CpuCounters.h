#pragma once

#include <set>
#include <string>
#include <vector>

#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/OpenFile.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// Counters of CPUs, or of what a CPU tells about, that each have a file of their own. They are
/// many and change slowly, so they are read every second only, with intervals of their own, and no
/// more than `kMostPerPass` in one pass: where there are very many, their intervals are longer.
/// What they have counted since the last of these is the remainder of the run. One that cannot be
/// read, runs backwards or is of an offline CPU has a gap.
class CpuCounters {
 public:
  static constexpr std::size_t kMostPerPass = 200;

  /// Adds the counter in the file `path`, unless that cannot be read.
  void add(std::string path, unsigned int cpu, const pwr::EntityHandle* entity,
           const pwr::DataDescriptor* descriptor);
  bool empty() const { return counters_.empty(); }
  std::vector<pwr::Metric::EntityDescCombo> combinations() const;
  /// The metric with these combinations; to be called before the first `sample`, unless `empty`.
  void setMetric(const pwr::MetricDescription* metric) { metric_ = metric; }

  bool contains(const pwr::EntityHandle* entity) const { return entities_.contains(entity); }
  /// To be called in every pass, and `remainder` after the last. Neither does anything when
  /// `empty`.
  void sample(unsigned long long now, const OnlineCpus& online, SampleBatch& batch);
  void remainder(SampleBatch& batch);

 private:
  struct Counter {
    OpenFile file;
    unsigned int cpu = 0;
    const pwr::EntityHandle* entity = nullptr;
    const pwr::DataDescriptor* descriptor = nullptr;
    unsigned long long before = 0;
    bool isKnown = false;  // whether it could be read at the end of the last interval
    bool isTold = false;   // whether a sample has had a count of it
    Interval interval = {};
    unsigned long long due = 0;  // time of the next reading
  };

  bool isDue(unsigned long long now) const { return now >= counters_[next_].due; }
  void read(Counter& counter, unsigned long long now, bool isOnline, IntervalPoint& point);

  const pwr::MetricDescription* metric_ = nullptr;
  std::vector<Counter> counters_;
  std::set<const pwr::EntityHandle*> entities_;  // that have counters
  std::size_t next_ = 0;                         // place of the one that is read next
  bool hasBegun_ = false;                        // whether all were read once
};

}  // namespace tavrin
