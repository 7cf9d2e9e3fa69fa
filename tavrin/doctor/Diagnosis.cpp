#include "tavrin/doctor/Diagnosis.h"

#include <algorithm>

#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/FeatureRegistry.h"
#include "tavrin/platform/ChildProcess.h"

namespace tavrin {

std::size_t Diagnosis::count(FeatureProbe::State state) const {
  return static_cast<std::size_t>(std::ranges::count_if(
      features, [&](const FeatureFinding& finding) { return finding.probe.state() == state; }));
}

std::vector<const Right*> Diagnosis::missing() const {
  std::vector<const Right*> missing;
  for (const Right& right : rights()) {
    const bool isMissing = std::ranges::any_of(
        features, [&](const FeatureFinding& finding) { return finding.probe.lacks(right); });
    if (isMissing) missing.push_back(&right);
  }
  return missing;
}

std::vector<FeatureFinding> examineFeatures(const SysRoot& root) {
  // Never started: the counters of a command are looked for only where there is one.
  const ChildProcess command({"/proc/self/exe"});
  CpuEntities cpus(root);
  std::vector<FeatureFinding> findings;
  unsigned int containerId = 0;
  for (const auto& feature : createFeatures(&command)) {
    findings.push_back({feature->tag(), feature->help(), feature->isOnDemand(),
                        probeFeature(*feature, root, cpus, ++containerId)});
  }
  return findings;
}

}  // namespace tavrin
