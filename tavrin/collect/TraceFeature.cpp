#include "tavrin/collect/TraceFeature.h"

namespace tavrin {

TraceFeature::TraceFeature(const EventGroupNames& names, std::shared_ptr<KernelTracing> tracing)
    : Feature(names.tag, names.containerName, names.help),
      group_(names.group),
      tracing_(std::move(tracing)) {}

std::string TraceFeature::probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) {
  std::vector<const pwr::MetricDescription*> metrics;
  std::string reason = tracing_->probe(group_, root, cpus, containerId, tag(), metrics);
  for (const pwr::MetricDescription* metric : metrics) addMetric(metric);
  return reason;
}

std::vector<std::unique_ptr<Feature>> createTraceFeatures(std::shared_ptr<ProcessTable> lives) {
  const auto tracing = std::make_shared<KernelTracing>(std::move(lives));
  std::vector<std::unique_ptr<Feature>> features;
  for (const EventGroupNames& names : eventGroups()) {
    if (names.group == EventGroup::Other) continue;
    features.push_back(std::make_unique<TraceFeature>(names, tracing));
  }
  return features;
}

}  // namespace tavrin
