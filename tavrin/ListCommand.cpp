#include <algorithm>
#include <cstdio>
#include <string>

#include "hostcommon/session/PluginLibraries.h"
#include "tavrin/Commands.h"
#include "tavrin/HostSetup.h"

#if defined(__linux__)
#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/FeatureProbe.h"
#include "tavrin/collect/FeatureRegistry.h"
#include "tavrin/collect/SysRoot.h"
#include "writers/host/Quantity.h"
#endif

namespace tavrin {

namespace {

std::string filesOf(const WriterPlugin& writer) {
  const pwr::WriterPluginCapability& capability = pwr::PluginLibrary::capability(writer);
  std::string files;
  for (const std::string& file : capability.getFiles()) files += (files.empty() ? "" : " ") + file;
  const std::string numbered = capability.getContinuousFile();
  return numbered.empty() ? files : files + " " + numbered;
}

void listWriters(const Options& options) {
  std::puts("Writers (-w), with their files for the base name BASE; with --continuous BASE_N.");
  const pwr::PluginLibraries plugins(options.plugins);
  std::size_t width = 0;
  for (const WriterPlugin* writer : plugins.writers()) {
    width = std::max(width, filesOf(*writer).size());
  }
  const char* note = "; 'all' are these, 'every' those of all libraries";
  for (const auto& library : plugins.libraries()) {
    std::printf("Of %s%s:\n", library->path().c_str(), note);
    note = "";
    for (const WriterPlugin* writer : library->writers()) {
      const pwr::WriterPluginCapability& capability = pwr::PluginLibrary::capability(*writer);
      std::printf("  %-8s %-*s  %s\n", capability.getName().c_str(), static_cast<int>(width),
                  filesOf(*writer).c_str(), capability.getDescription().c_str());
    }
  }
}

#if defined(__linux__)

const char* kindOf(const pwr::MetricDescription& metric) {
  switch (metric.type) {
    case pwr::Metric::MetricType::SampledDelta:
      return "counter";
    case pwr::Metric::MetricType::SampledResidency:
      return "residency";
    case pwr::Metric::MetricType::SampledValue:
      return "value";
    case pwr::Metric::MetricType::TracedValueTransition:
      return "transition";
    case pwr::Metric::MetricType::TracedEvent:
      break;
  }
  return "event";
}

void listMetrics(const Feature& feature) {
  for (const pwr::MetricDescription* metric : feature.metrics()) {
    const std::string units = metric->quantity == nullptr ? "" : metric->quantity->toUnitsString();
    std::printf("  %-24s %-15s %-10s %-6s %zu series\n", metric->name.c_str(),
                metric->featureTag.c_str(), kindOf(*metric), units.empty() ? "-" : units.c_str(),
                metric->combinations.size());
  }
}

void listFeature(const Feature& feature, const FeatureProbe& probe) {
  using State = FeatureProbe::State;
  const State state = probe.state();
  const char* presence = feature.isOnDemand() ? "on demand" : "present";
  if (state == State::Absent) presence = "absent";
  if (state == State::Refused) presence = "refused";
  std::string text = probe.whyAbsent.empty() ? feature.help() : probe.explanation();
  if (state == State::Partial) text += "; the whole needs " + probe.needs();
  std::printf("  %-15s %-11s %s\n", feature.tag().c_str(), presence, text.c_str());
}

void listMachine(const Options& options, bool features, bool metrics) {
  const SysRoot root(options.sysroot);
  CpuEntities cpus(root);
  const auto all = createFeatures();
  if (features) std::puts("Features of this machine (-f):");
  std::vector<const Feature*> present;
  unsigned int containerId = 0;
  for (const auto& feature : all) {
    const FeatureProbe probe = probeFeature(*feature, root, cpus, ++containerId);
    if (probe.whyAbsent.empty()) present.push_back(feature.get());
    if (features) listFeature(*feature, probe);
  }
  if (!metrics) return;
  std::puts("Metrics of this machine (name, feature, kind, unit):");
  for (const Feature* feature : present) listMetrics(*feature);
}

#else

void listMachine(const Options& /*options*/, bool /*features*/, bool /*metrics*/) {
  std::puts("Features: live collection is available on Linux only; 'tavrin report' works here.");
}

#endif

}  // namespace

int runList(const Options& options) {
  setUpHost(options);
  const bool all = options.topic == "all";
  if (all || options.topic == "writers") listWriters(options);
  if (all || options.topic != "writers") {
    listMachine(options, all || options.topic == "features", all || options.topic == "metrics");
  }
  return 0;
}

}  // namespace tavrin
