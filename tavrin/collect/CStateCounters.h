#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/collect/TimeTable.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// A counter of perf_event_open(2) that counts what happens on one CPU from now on.
class CpuEventCounter {
 public:
  CpuEventCounter() = default;
  ~CpuEventCounter();
  CpuEventCounter(CpuEventCounter&& other) noexcept;
  CpuEventCounter& operator=(CpuEventCounter&& other) noexcept;

  /// To be called once. Returns 0 or the errno of the failure.
  int open(std::uint32_t type, std::uint64_t config, unsigned int cpu);
  /// False, leaving `count` alone, when it cannot be read.
  bool read(unsigned long long& count) const;

 private:
  int descriptor_ = -1;
};

/// Names of events of a source, and what they are to perf_event_open.
using CpuEvents = std::vector<std::pair<std::string, std::uint64_t>>;

/// Time that packages or cores spent in sleep states as their hardware counted it, from the event
/// sources `cstate_pkg` and `cstate_core` (Documentation/ABI/testing/
/// sysfs-bus-event_source-devices-events, -format). The hardware counts ticks of the timestamp
/// counter, whose pace is measured beside. Reading a counter wakes its CPU.
///
/// Packages and cores join with their first CPU. Those without a CPU that is online have a gap, and
/// so has one while its counters move to another of its CPUs.
class CStateCounters {
 public:
  /// `source`: its name. `level`: what it counts for, "Package" or "Core".
  CStateCounters(std::string source, std::string level)
      : source_(std::move(source)), level_(std::move(level)), times_(1) {}

  /// Finds and opens all counters. Returns 0 or the errno of the failure: ENOENT where the machine
  /// has none. It then has created nothing. `root` must outlive this.
  int open(const SysRoot& root, const CpuEntities& cpus);
  bool empty() const { return counters_.empty(); }
  /// Without container, feature and name. To be called once.
  pwr::MetricDescription describe();

  /// `cpus`: as of `now`.
  void sample(unsigned long long now, const CpuEntities& cpus, const pwr::MetricDescription* metric,
              SampleBatch& batch);
  void remainder(const pwr::MetricDescription* metric, SampleBatch& batch) const {
    times_.remainder(metric, batch);
  }

 private:
  struct State {
    CpuEventCounter counter;
    unsigned long long before = 0;
    unsigned long long ticks = 0;  // since the start
  };
  struct Unit {
    const pwr::EntityHandle* entity;
    unsigned int cpu = 0;  // that counts
    std::size_t row = 0;
    std::vector<State> states;                // in the order of events_
    std::vector<unsigned long long> present;  // their ticks; reused
  };

  int openClock(unsigned int cpu);
  int openUnits(const CpuEntities& cpus);
  int openUnit(Unit& unit);
  void addRow(Unit& unit);
  void closeOffline(const OnlineCpus& online);
  bool followClock(const OnlineCpus& online);
  const pwr::EntityHandle* unitOf(const CpuEntities::Cpu& cpu) const;
  bool read(Unit& unit, double ticksPerCount);

  const std::string source_;
  const std::string level_;
  const SysRoot* root_ = nullptr;
  std::uint32_t type_ = 0;         // of the source
  CpuEvents events_;               // one for each state
  TimeTable::Descriptors states_;  // likewise
  CpuEventCounter clock_;          // the timestamp counter
  unsigned int clockCpu_ = 0;      // on which it is read
  unsigned long long clockBefore_ = 0;
  Interval interval_;
  std::vector<Unit> counters_;
  TimeTable times_;
};

}  // namespace tavrin
