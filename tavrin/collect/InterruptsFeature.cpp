#include "tavrin/collect/InterruptsFeature.h"

#include <array>
#include <system_error>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/Counting.h"
#include "tavrin/collect/SysRoot.h"

namespace tavrin {

namespace {

constexpr std::array<KeyedCounters::Counter, 3> kActivity{{
    {"intr", "Interrupts", "Interrupts of all kinds on all CPUs"},
    {"ctxt", "Context Switches", "Changes of the running thread on all CPUs"},
    {"processes", "Forks", "Processes and threads created"},
}};

struct SourceFile {
  const char* path;
  const char* metric;
  const char* onCpu;
};

constexpr std::array<SourceFile, 2> kSourceFiles{{
    {"/proc/interrupts", "Interrupt Sources", "interrupts"},
    {"/proc/softirqs", "Deferred Work", "deferred work"},
}};

}  // namespace

InterruptsFeature::InterruptsFeature(std::shared_ptr<StatFile> stat)
    : Feature("interrupts", "System Activity",
              "Interrupts per source and CPU, context switches, forks"),
      stat_(std::move(stat)),
      activity_(kActivity) {}

std::string InterruptsFeature::probe(const SysRoot& root, CpuEntities& cpus,
                                     unsigned int containerId) {
  std::string text;
  const int error = root.readText(StatFile::kPath, text);
  if (error != 0) {
    return std::string(StatFile::kPath) +
           " cannot be read: " + std::generic_category().message(error);
  }
  auto combinations = activity_.describe(text);
  if (combinations.empty()) return std::string("no event counts in ") + StatFile::kPath;
  stat_->open(root);
  cpus_ = &cpus;
  events_ = createEventsQuantity();
  pwr::MetricDescription metric = metricOf(containerId, "System Activity", "Event");
  metric.combinations = std::move(combinations);
  addMetric(pwr::createMetric(std::move(metric)));
  describeSources(root, containerId);
  describeCpus(containerId);
  return {};
}

pwr::MetricDescription InterruptsFeature::metricOf(unsigned int containerId, const char* name,
                                                   const char* group) {
  return {.containerId = containerId,
          .name = name,
          .featureTag = tag(),
          .type = pwr::Metric::MetricType::SampledDelta,
          .legacyType = pwr::RealTableClass::Counter,
          .quantity = events_,
          .descriptorGroup = std::make_shared<const pwr::Field>(group)};
}

void InterruptsFeature::describeSources(const SysRoot& root, unsigned int containerId) {
  for (const SourceFile& each : kSourceFiles) {
    Sources sources{.file = OpenFile(root.path(each.path))};
    std::string_view text;
    if (sources.file.readText(text) == 0) sources.table.read(text, 0.0);
    pwr::MetricDescription metric = metricOf(containerId, each.metric, "Source");
    metric.combinations = sources.table.combinations();
    if (metric.combinations.empty()) continue;
    sources.metric = addMetric(pwr::createMetric(std::move(metric)));
    sources.onCpu = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(each.onCpu, ""));
    sources_.push_back(std::move(sources));
  }
}

void InterruptsFeature::describeCpus(unsigned int containerId) {
  if (sources_.empty()) return;
  pwr::MetricDescription metric = metricOf(containerId, "CPU Interrupts", "Kind");
  metric.entityGroup = std::make_shared<const pwr::Field>("CPU");
  for (const CpuEntities::Cpu& cpu : cpus_->cpus()) {
    for (const Sources& sources : sources_) {
      metric.combinations.push_back({cpu.entity, sources.onCpu});
    }
  }
  perCpu_ = addMetric(pwr::createMetric(std::move(metric)));
}

void InterruptsFeature::sampleSources(bool complete, SampleBatch& batch) {
  const double seconds = static_cast<double>(interval_.length()) / kTicksPerSecond;
  for (Sources& sources : sources_) {
    std::string_view text;
    if (sources.file.readText(text) != 0) text = {};
    sources.table.read(text, complete ? seconds : 0.0);
    IntervalPoint point(batch, sources.metric, interval_);
    if (complete) sources.table.emit(point);
  }
}

void InterruptsFeature::sampleCpus(SampleBatch& batch) {
  IntervalPoint point(batch, perCpu_, interval_);
  for (const CpuEntities::Cpu& cpu : cpus_->cpus()) {
    for (const Sources& sources : sources_) {
      const auto growth = sources.table.growthOn(cpu.number);
      if (growth) point.add(pwr::Data(*growth), sources.onCpu, cpu.entity);
    }
  }
}

void InterruptsFeature::sample(unsigned long long now, SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  cpus_->updateAt(now);
  {
    IntervalPoint point(batch, metrics().front(), interval_);
    activity_.sample(stat_->textAt(now), complete, point);
  }
  sampleSources(complete, batch);
  if (complete) sampleCpus(batch);
}

}  // namespace tavrin
