#pragma once

#include <memory>
#include <optional>

#include "tavrin/collect/Feature.h"
#include "tavrin/collect/ProcessPoll.h"
#include "tavrin/collect/Ranks.h"
#include "tavrin/collect/StatFile.h"
#include "tavrin/collect/TopRows.h"

namespace tavrin {

/// What the processes used of the processors (Documentation/filesystems/proc.rst): over time an
/// event for each of the busiest of an interval and one for all others, which tell their process by
/// attributes; in the report a table of the whole run with switches and memory, and one of how many
/// came, ended and were not seen. The lifetimes go into the description of the system.
class ProcessFeature : public Feature {
 public:
  ProcessFeature(std::shared_ptr<ProcessPoll> poll, std::shared_ptr<StatFile> stat);

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void expectLast() override { poll_->expectLast(); }
  void sample(unsigned long long now, SampleBatch& batch) override;
  void finish(pwr::SystemDescription& system, pwr::MessageSink& sink) override;

 private:
  void deliverUse(pwr::MessageSink& sink) const;
  void deliverLifetimes(const pwr::SystemDescription& system, pwr::MessageSink& sink) const;

  const std::shared_ptr<ProcessPoll> poll_;
  const std::shared_ptr<StatFile> stat_;
  Ranks ranks_;
  std::shared_ptr<const pwr::AttributeValueManager> others_;
  TopRows rows_;
  std::size_t atStart_ = 0;
  bool isFirst_ = true;
  std::optional<unsigned long long> forksAtStart_;
  std::optional<unsigned long long> forks_;
};

}  // namespace tavrin
