#pragma once

#include <memory>

#include "tavrin/collect/CommandCounters.h"
#include "tavrin/collect/EnergyCounters.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/platform/ChildProcess.h"

namespace tavrin {

/// What the measured command used, with all that it started (getrusage(2), `CommandCounters`): the
/// table "Command Summary" in the report. It has no metric: what happens over time tell the others.
class CommandFeature : public Feature {
 public:
  /// `command` is null where none is measured; it must outlive the feature otherwise. `energy`
  /// tells the energy of the run if some other feature reads it.
  CommandFeature(const ChildProcess* command, std::shared_ptr<EnergyCounters> energy);

  /// Opens the counters: to be called by the thread that will start the command.
  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  unsigned int containerId() const override { return containerId_; }
  void sample(unsigned long long /*now*/, SampleBatch& /*batch*/) override {}
  void finish(pwr::SystemDescription& system, pwr::MessageSink& sink) override;

 private:
  const ChildProcess* const command_;
  const std::shared_ptr<EnergyCounters> energy_;
  unsigned int containerId_ = 0;
  CommandCounters counters_;
};

}  // namespace tavrin
