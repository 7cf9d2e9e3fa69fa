#pragma once

#include <string>
#include <vector>

#include "tavrin/collect/Feature.h"
#include "tavrin/collect/Rights.h"
#include "tavrin/common/Refusals.h"

namespace tavrin {

/// What looking for a feature has found.
struct FeatureProbe {
  /// Partial: some of what it reads is kept from this user. Refused: it was not found, which may be
  /// so only because something is kept from this user.
  enum class State { Works, Partial, Refused, Absent };

  std::string whyAbsent;          ///< "" when it is there
  std::vector<Refusal> refusals;  ///< paths are below the root

  State state() const;
  bool lacks(const Right& right) const;
  /// In the order of `rights`.
  std::vector<const Right*> missing() const;
  /// What the missing rights are, after each other; "" when there are none.
  std::string needs() const;
  /// Why it is absent and what it needs.
  std::string explanation() const;
};

/// Probes the feature; to be called in the place of `Feature::probe`.
FeatureProbe probeFeature(Feature& feature, const SysRoot& root, CpuEntities& cpus,
                          unsigned int containerId);

}  // namespace tavrin
