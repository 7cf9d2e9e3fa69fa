#pragma once

#include <memory>

#include "tavrin/collect/Feature.h"
#include "tavrin/collect/KernelTracing.h"
#include "tavrin/events/EventGroups.h"

namespace tavrin {

/// One group of the kernel's trace events. Its messages come from `KernelTracing`, not from passes.
class TraceFeature : public Feature {
 public:
  TraceFeature(const EventGroupNames& names, std::shared_ptr<KernelTracing> tracing);

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long /*now*/, SampleBatch& /*batch*/) override {}
  void finish(pwr::SystemDescription& system, pwr::MessageSink& /*sink*/) override {
    tracing_->describe(group_, system);
  }
  bool isOnDemand() const override { return true; }
  KernelTracing* tracing() override { return tracing_.get(); }

 private:
  const EventGroup group_;
  const std::shared_ptr<KernelTracing> tracing_;
};

/// All of them, which share one `KernelTracing`. `lives` gets the processes that it tells of.
std::vector<std::unique_ptr<Feature>> createTraceFeatures(std::shared_ptr<ProcessTable> lives);

}  // namespace tavrin
