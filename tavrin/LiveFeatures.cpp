#include "tavrin/LiveFeatures.h"

#include <algorithm>
#include <chrono>

#include "hostcommon/session/HostError.h"
#include "tavrin/collect/FeatureProbe.h"
#include "tavrin/collect/FeatureRegistry.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"

namespace tavrin {

namespace {

/// All but those that are on demand.
constexpr const char* kDefaultFeatures = "default";
constexpr const char* kAllFeatures = "all";

std::string whyNot(const std::string& tag, const FeatureProbe& probe) {
  if (probe.state() == FeatureProbe::State::Absent) {
    return "this machine has no feature '" + tag + "': " + probe.whyAbsent;
  }
  return "this user may not have the feature '" + tag + "': " + probe.explanation() +
         "; see 'tavrin doctor'";
}

}  // namespace

LiveFeatures::LiveFeatures(const Options& options, const ChildProcess* command,
                           std::size_t mostEnded)
    : root_(options.sysroot), cpus_(root_), features_(createFeatures(command, mostEnded)) {
  std::vector<std::string> known;
  for (const auto& feature : features_) known.push_back(feature->tag());
  known.insert(known.end(), {kDefaultFeatures, kAllFeatures});
  pwr::requireKnown(options.features, known, "feature");
  const auto isAskedFor = [&](const std::string& name) {
    return std::ranges::count(options.features, name) > 0;
  };
  // Machines share a configuration that not all of them can have in full.
  const bool isConfigured = !options.config.empty();
  std::string refused;
  unsigned int containerId = 0;
  for (const auto& feature : features_) {
    ++containerId;
    const bool named = isAskedFor(feature->tag());
    const bool inGroup =
        isAskedFor(kAllFeatures) || (isAskedFor(kDefaultFeatures) && !feature->isOnDemand());
    if (!inGroup && !named) continue;
    const FeatureProbe probe = probeFeature(*feature, root_, cpus_, containerId);
    if (probe.whyAbsent.empty()) {
      present_.push_back(feature.get());
      if (feature->tracing() != nullptr) tracing_ = feature->tracing();
    } else if (named) {
      const std::string why = whyNot(feature->tag(), probe);
      if (!isConfigured) throw CommandError(kExitIncomplete, why);
      warn(why);
    } else if (probe.state() == FeatureProbe::State::Refused) {
      refused.append(refused.empty() ? "" : ", ").append(feature->tag());
    }
  }
  if (!refused.empty()) inform("not permitted here, see 'tavrin doctor': " + refused);
  if (present_.empty()) {
    throw CommandError(kExitIncomplete,
                       "this machine has none of the features; see 'tavrin list features'");
  }
}

SamplingTimes samplingTimes(double intervalMs, const Options& options) {
  using std::chrono::ceil;
  using std::chrono::nanoseconds;
  const double seconds =
      options.samples > 0 ? options.samples * intervalMs / 1e3 : options.durationSec;
  return {ceil<nanoseconds>(std::chrono::duration<double, std::milli>(intervalMs)),
          ceil<nanoseconds>(std::chrono::duration<double>(seconds))};
}

}  // namespace tavrin
