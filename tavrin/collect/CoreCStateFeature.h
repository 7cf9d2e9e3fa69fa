#pragma once

#include <map>
#include <string>
#include <vector>

#include "tavrin/collect/Feature.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/ResidencyCarry.h"
#include "writers/host/EntityHandle.h"

namespace tavrin {

/// Time that each CPU spent in each of its sleep states, and how often it entered them. What the
/// states of a CPU leave of an interval was spent running.
///
/// The states of a CPU are read together. When one of them fails (the CPU went offline) or has run
/// backwards, the CPU has a gap and starts again, with nothing carried, where it can be read next.
class CoreCStateFeature : public Feature {
 public:
  CoreCStateFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;

  bool needsAwakeCpus() const override { return isThisMachine_; }

 private:
  struct State {
    const pwr::DataDescriptor* descriptor = nullptr;
    OpenFile time;   // microseconds
    OpenFile usage;  // entries
    unsigned long long lastTime = 0;
    unsigned long long lastUsage = 0;
    unsigned long long entries = 0;  // of the interval
  };
  struct SleepingCpu {
    const pwr::EntityHandle* entity = nullptr;
    std::vector<State> states;
    ResidencyCarry carry{0};
    std::vector<unsigned long long> ticks;  // of the interval, by state
    bool valid = false;                     // whether the last pass could read it
    bool complete = false;                  // whether this pass has an interval of it
  };

  std::vector<State> findStates(const SysRoot& root, unsigned int cpu);
  const pwr::DataDescriptor* descriptor(const std::string& name, const std::string& description);
  void createMetrics(unsigned int containerId);
  static bool read(SleepingCpu& cpu, bool& forwards);

  Interval interval_;
  std::vector<SleepingCpu> cpus_;
  std::map<std::string, const pwr::DataDescriptor*> descriptors_;
  bool isThisMachine_ = false;
};

}  // namespace tavrin
