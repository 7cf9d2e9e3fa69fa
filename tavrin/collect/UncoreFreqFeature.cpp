#include "tavrin/collect/UncoreFreqFeature.h"

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/SysRoot.h"

namespace tavrin {

namespace {

constexpr const char* kUncores = "/sys/devices/system/cpu/intel_uncore_frequency";

/// "uncore02 (package 1, domain 0, cluster 2)"; the folder alone where there is no more to tell, as
/// "package_01_die_00" tells all.
std::string uncoreName(const SysRoot& root, const std::string& folder, const std::string& path) {
  std::string facts;
  for (const auto& [file, fact] : {std::pair{"/package_id", "package "},
                                   {"/domain_id", "domain "},
                                   {"/fabric_cluster_id", "cluster "}}) {
    const std::string number = root.readLine(path + file);
    if (number.empty()) continue;
    facts += (facts.empty() ? "" : ", ") + (fact + number);
  }
  return facts.empty() ? folder : folder + " (" + facts + ")";
}

}  // namespace

UncoreFreqFeature::UncoreFreqFeature()
    : Feature("uncore-freq", "Uncore Frequency",
              "Frequencies of caches and interconnects of packages") {}

std::string UncoreFreqFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                     unsigned int containerId) {
  for (const std::string& folder : root.list(kUncores)) {
    const std::string path = std::string(kUncores) + "/" + folder;
    const std::string file = path + "/current_freq_khz";
    unsigned long long kilohertz = 0;
    if (root.readNumber(file, kilohertz) != 0) continue;
    gauges_.add(root.path(file),
                pwr::createEntity({.name = uncoreName(root, folder, path), .level = "Uncore"}));
  }
  if (gauges_.empty()) return std::string("no readable frequencies below ") + kUncores;
  addMetric(pwr::createMetric(
      {.containerId = containerId,
       .name = "Uncore Frequency",
       .featureTag = tag(),
       .type = pwr::Metric::MetricType::SampledValue,
       .legacyType = pwr::RealTableClass::Value,
       .quantity = pwr::createQuantity(
           {.type = pwr::QuantityType::Frequency, .name = "Frequency", .units = "MHz"}),
       .combinations = gauges_.combinations(),
       .entityGroup = std::make_shared<const pwr::Field>("Uncore")}));
  return {};
}

void UncoreFreqFeature::sample(unsigned long long now, SampleBatch& batch) {
  gauges_.sample(now, metrics().front(), batch);
}

}  // namespace tavrin
