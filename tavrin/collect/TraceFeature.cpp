#include "tavrin/collect/TraceFeature.h"

namespace tavrin {

namespace {

constexpr TraceFeature::Description kTraceFeatures[] = {
    {EventGroup::Idle, "cstate-trace", "CPU C-State Trace",
     "Each entry of a CPU into a sleep state"},
    {EventGroup::Frequency, "pstate-trace", "CPU Frequency Trace",
     "Each change of a CPU's frequency"},
    {EventGroup::Schedule, "sched-trace", "Scheduler Trace", "Which task each CPU runs and when"},
    {EventGroup::Process, "process-trace", "Process Trace",
     "Forks, execs and exits of processes and threads"},
    {EventGroup::Wakeup, "wakeup-trace", "Wakeup Source Trace",
     "When wakeup sources keep the system awake"},
    {EventGroup::DevicePower, "device-trace", "Device Power Trace",
     "Runtime power management of devices"},
    {EventGroup::Thermal, "thermal-trace", "Thermal Trace",
     "Trips of thermal zones and states of cooling devices"},
};

}  // namespace

TraceFeature::TraceFeature(const Description& description, std::shared_ptr<KernelTracing> tracing)
    : Feature(description.tag, description.containerName, description.help),
      group_(description.group),
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
  for (const TraceFeature::Description& description : kTraceFeatures) {
    features.push_back(std::make_unique<TraceFeature>(description, tracing));
  }
  return features;
}

}  // namespace tavrin
