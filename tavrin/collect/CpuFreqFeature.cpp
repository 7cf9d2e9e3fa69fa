#include "tavrin/collect/CpuFreqFeature.h"

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/collect/TextScan.h"

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

std::string policyName(const SysRoot& root, unsigned int number, const std::string& folder) {
  std::string cpus = root.readLine(folder + "/affected_cpus");
  if (cpus.empty()) cpus = root.readLine(folder + "/related_cpus");
  const std::string ranges = cpuRanges(cpus);
  return "Policy" + std::to_string(number) + (ranges.empty() ? "" : " (" + ranges + ")");
}

}  // namespace

CpuFreqFeature::CpuFreqFeature()
    : Feature("cpu-freq", "CPU Frequency", "Frequency of each group of CPUs that share one") {}

std::string CpuFreqFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                  unsigned int containerId) {
  for (const unsigned int number : root.listNumbered(kPolicies, "policy")) {
    const std::string folder = std::string(kPolicies) + "/policy" + std::to_string(number);
    const std::string file = folder + "/scaling_cur_freq";
    std::string text;
    if (root.readText(file, text) != 0) continue;
    gauges_.add(root.path(file), pwr::createEntity({.name = policyName(root, number, folder),
                                                    .level = "Frequency Policy"}));
  }
  if (gauges_.empty()) return std::string("no readable frequency policies below ") + kPolicies;
  addMetric(pwr::createMetric(
      {.containerId = containerId,
       .name = "CPU Frequency",
       .featureTag = tag(),
       .type = pwr::Metric::MetricType::SampledValue,
       .legacyType = pwr::RealTableClass::Value,
       .quantity = pwr::createQuantity(
           {.type = pwr::QuantityType::Frequency, .name = "Frequency", .units = "MHz"}),
       .combinations = gauges_.combinations(),
       .entityGroup = std::make_shared<const pwr::Field>("Policy")}));
  return {};
}

void CpuFreqFeature::sample(unsigned long long now, SampleBatch& batch) {
  gauges_.sample(now, metrics().front(), batch);
}

}  // namespace tavrin
