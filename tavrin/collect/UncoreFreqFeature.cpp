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

GaugeSet::Numbers UncoreFreqFeature::open(const std::string& folder) {
  const std::string path = std::string(kUncores) + "/" + folder;
  const std::string file = path + "/current_freq_khz";
  unsigned long long kilohertz = 0;
  if (root_->readNumber(file, kilohertz) != 0) return {};
  const pwr::EntityHandle* const entity = entities_.of(uncoreName(*root_, folder, path));
  if (entity == nullptr) return {};
  return {gauges_.add(root_->path(file), entity)};
}

void UncoreFreqFeature::findUncores() {
  gauges_.meet(root_->list(kUncores), [this](const std::string& folder) { return open(folder); });
}

std::string UncoreFreqFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                     unsigned int containerId) {
  root_ = &root;
  gauges_.follow(root);
  findUncores();
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
  if (gauges_.isDue(now)) findUncores();
  gauges_.sample(now, metrics().front(), batch);
}

}  // namespace tavrin
