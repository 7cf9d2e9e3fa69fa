#include "tavrin/collect/CpuFreqFeature.h"

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

constexpr const char* kPolicies = "/sys/devices/system/cpu/cpufreq";

/// "CPU0-3 CPU8" for "0 1 2 3 8".
std::string cpuRanges(std::string_view numbers) {
  std::string ranges;
  unsigned int cpu = 0;
  bool more = takeNumber(numbers, cpu);
  while (more) {
    const unsigned int first = cpu;
    unsigned int last = cpu;
    while ((more = takeNumber(numbers, cpu)) && cpu == last + 1) last = cpu;
    if (!ranges.empty()) ranges += ' ';
    ranges += "CPU" + std::to_string(first);
    if (last != first) ranges += "-" + std::to_string(last);
  }
  return ranges;
}

/// With all of its CPUs, as those that are offline may come online.
std::string policyName(const SysRoot& root, unsigned int number, const std::string& folder) {
  std::string cpus = root.readLine(folder + "/related_cpus");
  if (cpus.empty()) cpus = root.readLine(folder + "/affected_cpus");
  const std::string ranges = cpuRanges(cpus);
  return "Policy" + std::to_string(number) + (ranges.empty() ? "" : " (" + ranges + ")");
}

}  // namespace

CpuFreqFeature::CpuFreqFeature()
    : Feature("cpu-freq", "CPU Frequency",
              "Frequency of CPUs, time at each, delivered performance") {}

void CpuFreqFeature::addPolicies() {
  for (const unsigned int number : root_->listNumbered(kPolicies, "policy")) {
    if (!policies_.contains(number)) addPolicy(number);
  }
}

/// Adds what the policy tells, once there are metrics as far as these have it.
void CpuFreqFeature::addPolicy(unsigned int number) {
  const std::string folder = std::string(kPolicies) + "/policy" + std::to_string(number);
  const std::string gauge = folder + "/scaling_cur_freq";
  const std::string times = folder + "/stats/time_in_state";
  const bool isProbing = metrics().empty();
  std::string text;
  const bool hasGauge =
      (isProbing || gaugesMetric_ != nullptr) && root_->readText(gauge, text) == 0;
  const bool hasTimes = (isProbing || timesMetric_ != nullptr) && root_->readText(times, text) == 0;
  if (!hasGauge && !hasTimes) return;
  const pwr::EntityHandle* const entity =
      pwr::createEntity({.name = policyName(*root_, number, folder), .level = "Frequency Policy"});
  if (hasGauge) gauges_.add(root_->path(gauge), entity);
  if (hasTimes) times_.add(root_->path(times), entity);
  policies_.insert(number);
}

void CpuFreqFeature::addCpus() {
  if (!metrics().empty() && performanceMetric_ == nullptr) return;
  for (const CpuEntities::Cpu& cpu : cpus_->cpus()) performance_.add(*root_, cpu);
}

std::string CpuFreqFeature::probe(const SysRoot& root, CpuEntities& cpus,
                                  unsigned int containerId) {
  root_ = &root;
  cpus_ = &cpus;
  addPolicies();
  addCpus();
  if (!gauges_.empty()) gaugesMetric_ = addMetric(createGauges(containerId));
  if (!times_.empty()) timesMetric_ = addMetric(createTimes(containerId));
  if (!performance_.empty()) performanceMetric_ = addMetric(createPerformance(containerId));
  if (!metrics().empty()) return {};
  return std::string("no readable frequency policies below ") + kPolicies;
}

const pwr::MetricDescription* CpuFreqFeature::createGauges(unsigned int containerId) {
  return pwr::createMetric(
      {.containerId = containerId,
       .name = "CPU Frequency",
       .featureTag = tag(),
       .type = pwr::Metric::MetricType::SampledValue,
       .legacyType = pwr::RealTableClass::Value,
       .quantity = pwr::createQuantity(
           {.type = pwr::QuantityType::Frequency, .name = "Frequency", .units = "MHz"}),
       .combinations = gauges_.combinations(),
       .entityGroup = std::make_shared<const pwr::Field>("Policy")});
}

const pwr::MetricDescription* CpuFreqFeature::createTimes(unsigned int containerId) {
  return pwr::createMetric({.containerId = containerId,
                            .name = "CPU Frequency Time",
                            .featureTag = tag(),
                            .type = pwr::Metric::MetricType::SampledResidency,
                            .legacyType = pwr::RealTableClass::Residency,
                            .quantity = pwr::Quantity::time(),
                            .combinations = times_.combinations(),
                            .entityGroup = std::make_shared<const pwr::Field>("Policy"),
                            .descriptorGroup = std::make_shared<const pwr::Field>("Frequency")});
}

const pwr::MetricDescription* CpuFreqFeature::createPerformance(unsigned int containerId) {
  return pwr::createMetric(
      {.containerId = containerId,
       .name = "CPU Performance",
       .featureTag = tag(),
       .type = pwr::Metric::MetricType::SampledValue,
       .legacyType = pwr::RealTableClass::Value,
       .quantity = pwr::createQuantity(
           {.type = pwr::QuantityType::Percentage, .name = "Delivered Performance", .units = "%"}),
       .combinations = performance_.combinations(),
       .entityGroup = std::make_shared<const pwr::Field>("CPU")});
}

void CpuFreqFeature::sample(unsigned long long now, SampleBatch& batch) {
  cpus_->updateAt(now);
  if (cpus_->hasNews()) {
    addPolicies();
    addCpus();
  }
  if (gaugesMetric_ != nullptr) gauges_.sample(now, gaugesMetric_, batch);
  if (timesMetric_ != nullptr) times_.sample(now, timesMetric_, batch);
  if (performanceMetric_ != nullptr) performance_.sample(now, performanceMetric_, batch);
}

void CpuFreqFeature::remainder(SampleBatch& batch) const {
  Feature::remainder(batch);
  if (timesMetric_ != nullptr) times_.remainder(timesMetric_, batch);
}

}  // namespace tavrin
