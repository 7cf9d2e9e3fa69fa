#include "tavrin/collect/FeatureProbe.h"

#include <algorithm>

#include "tavrin/collect/SysRoot.h"

namespace tavrin {

FeatureProbe::State FeatureProbe::state() const {
  if (whyAbsent.empty()) return refusals.empty() ? State::Works : State::Partial;
  return refusals.empty() ? State::Absent : State::Refused;
}

bool FeatureProbe::lacks(const Right& right) const {
  return std::ranges::any_of(
      refusals, [&](const Refusal& refusal) { return &rightOf(refusal.what) == &right; });
}

std::vector<const Right*> FeatureProbe::missing() const {
  std::vector<const Right*> missing;
  for (const Right& right : rights()) {
    if (lacks(right)) missing.push_back(&right);
  }
  return missing;
}

std::string FeatureProbe::needs() const {
  std::string needs;
  for (const Right* right : missing()) needs.append(needs.empty() ? "" : "; ").append(right->needs);
  return needs;
}

std::string FeatureProbe::explanation() const {
  const std::string needed = needs();
  return needed.empty() ? whyAbsent : whyAbsent + " (needs " + needed + ")";
}

FeatureProbe probeFeature(Feature& feature, const SysRoot& root, CpuEntities& cpus,
                          unsigned int containerId) {
  const Refusals refusals;
  FeatureProbe probe{feature.probe(root, cpus, containerId), refusals.all()};
  const std::string prefix = root.path("");
  for (Refusal& refusal : probe.refusals) {
    if (refusal.what.starts_with(prefix)) refusal.what.erase(0, prefix.size());
  }
  return probe;
}

}  // namespace tavrin
