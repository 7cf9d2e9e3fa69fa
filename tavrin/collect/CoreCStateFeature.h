#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/ResidencyCarry.h"
#include "writers/host/EntityHandle.h"

namespace tavrin {

/// Time that each CPU spent in each of its sleep states, and how often it entered them. What the
/// states of a CPU leave of an interval was spent running.
///
/// The states of a CPU are read together. When the CPU is offline, when one of them cannot be read
/// or has run backwards, the CPU has a gap and starts again where it can be read next.
class CoreCStateFeature : public Feature {
 public:
  CoreCStateFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;
  void remainder(SampleBatch& batch) const override;

  bool needsAwakeCpus() const override { return isThisMachine_; }

 private:
  struct Reading {
    unsigned long long time = 0;   // microseconds
    unsigned long long usage = 0;  // entries
  };
  struct State {
    const pwr::DataDescriptor* descriptor = nullptr;
    OpenFile time;
    OpenFile usage;
    Reading last;
    Reading present;
    unsigned long long entries = 0;  // of the interval
  };
  struct SleepingCpu {
    unsigned int number = 0;
    const pwr::EntityHandle* entity = nullptr;
    std::vector<State> states;
    ResidencyCarry carry{0};
    std::vector<unsigned long long> ticks;  // of the interval, by state
    unsigned long long lastRead = 0;        // time of the last readings
    bool valid = false;                     // whether the last pass could read it online
    bool complete = false;                  // whether this pass has an interval of it
  };

  std::vector<State> findStates(const SysRoot& root, unsigned int cpu);
  const pwr::DataDescriptor* descriptor(const std::string& name, const std::string& description);
  void createMetrics(unsigned int containerId);
  static bool read(SleepingCpu& cpu);
  static bool advance(SleepingCpu& cpu);
  void update(SleepingCpu& cpu, unsigned long long now, bool hasInterval);

  Interval interval_;
  std::optional<OnlineCpus> online_;
  std::vector<SleepingCpu> cpus_;
  std::map<std::string, const pwr::DataDescriptor*> descriptors_;
  bool isThisMachine_ = false;
};

}  // namespace tavrin
