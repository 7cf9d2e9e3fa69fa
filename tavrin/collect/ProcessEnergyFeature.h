#pragma once

#include <memory>
#include <vector>

#include "tavrin/collect/EnergyCounters.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/collect/ProcessPoll.h"
#include "tavrin/collect/Ranks.h"
#include "tavrin/collect/TopRows.h"

namespace tavrin {

/// A model of who used the energy of the package zones: of an interval, the lowest power that the
/// zone has shown so far goes to "idle", and the rest to the processes by their time on processors,
/// the threads of the kernel as one. On which package a process ran is not known: each package is
/// shared by the time on all processors. What the rows of a zone have is what it used, to the
/// microjoule; without any time on processors all of it is idle.
class ProcessEnergyFeature : public Feature {
 public:
  ProcessEnergyFeature(std::shared_ptr<ProcessPoll> poll, std::shared_ptr<EnergyCounters> energy);

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void expectLast() override { poll_->expectLast(); }
  void sample(unsigned long long now, SampleBatch& batch) override;
  void finish(pwr::SystemDescription& system, pwr::MessageSink& sink) override;

 private:
  using Attributes = std::shared_ptr<const pwr::AttributeValueManager>;
  struct Package {
    std::size_t zone = 0;  // among those of the counters
    double lowestMicrowatts = 0;
    bool isKnown = false;           // whether there is a lowest power yet
    unsigned long long idle = 0;    // in the run, in microjoules, as all that follows
    unsigned long long kernel = 0;  // in the run
  };
  /// What one interval gives to each: of the busy processes in their order.
  struct Shares {
    unsigned long long idle = 0;
    unsigned long long kernel = 0;
    std::vector<unsigned long long> processes;
  };

  unsigned long long idleEnergy(Package& package, unsigned long long used) const;
  void share(Package& package, unsigned long long used);
  void addTotals(std::size_t place);
  void emit(const Package& package, IntervalPoint& point);
  void keep(const PolledProcess& process);

  const std::shared_ptr<ProcessPoll> poll_;
  const std::shared_ptr<EnergyCounters> energy_;
  std::vector<Package> packages_;
  Shares shares_;
  Ranks ranks_;
  const pwr::DataDescriptor* idleRank_ = nullptr;
  const pwr::DataDescriptor* kernelRank_ = nullptr;
  Attributes idle_;
  Attributes kernel_;
  Attributes others_;
  TopRows rows_;
};

}  // namespace tavrin
