#pragma once

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tavrin/collect/CpuCounters.h"
#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/ResidencyCarry.h"
#include "tavrin/collect/Turns.h"
#include "writers/host/Attribute.h"
#include "writers/host/EntityHandle.h"

namespace tavrin {

/// Time that each CPU spent in each of its sleep states, and how often it entered them. What the
/// states of a CPU leave of an interval was spent running. How often a state turned out to be the
/// wrong one, was refused, or was entered while the machine was suspended is read every second. All
/// as Documentation/admin-guide/pm/cpuidle.rst and Documentation/ABI/testing/
/// sysfs-devices-system-cpu have it.
///
/// The states of a CPU are read together, by turns where their files cannot stay open. When the CPU
/// is offline, when one of them cannot be read or has run backwards, the CPU has a gap and starts
/// again where it can be read next. CPUs join when they come online.
class CoreCStateFeature : public Feature {
 public:
  CoreCStateFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void expectLast() override { turns_.takeAll(); }
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
    Interval interval = {};                 // between the last two readings
    bool staysOpen = true;                  // whether all of its files do
    bool valid = false;                     // whether it could be read online the last time
    bool complete = false;                  // whether this pass has an interval of it
  };

  static constexpr std::size_t kSideCounters = 5;

  void addCpus();
  std::vector<State> findStates(const SysRoot& root, const CpuEntities::Cpu& cpu);
  const pwr::DataDescriptor* descriptor(const SysRoot& root, const std::string& folder,
                                        const std::string& name);
  void createMetrics(unsigned int containerId);
  void createSideMetrics(pwr::MetricDescription metric);
  static bool read(SleepingCpu& cpu);
  static bool advance(SleepingCpu& cpu);
  void update(SleepingCpu& cpu, unsigned long long now);
  void visit(SleepingCpu& cpu, unsigned long long now);
  template <typename ValueOf>
  void emit(const pwr::MetricDescription* metric, SampleBatch& batch, ValueOf valueOf) const;

  Turns turns_;
  const SysRoot* root_ = nullptr;
  CpuEntities* allCpus_ = nullptr;
  std::vector<SleepingCpu> cpus_;
  std::set<unsigned int> known_;                                   // their numbers
  std::map<std::string, const pwr::DataDescriptor*> descriptors_;  // by all that they tell
  std::set<std::string> stateNames_;                               // of the descriptors
  std::vector<const pwr::Attribute*> stateAttributes_;
  std::array<std::unique_ptr<CpuCounters>, kSideCounters> sideCounters_;
  bool isThisMachine_ = false;
};

}  // namespace tavrin
