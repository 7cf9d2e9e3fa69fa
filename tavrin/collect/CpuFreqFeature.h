#pragma once

#include <set>

#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/DeliveredPerformance.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/collect/FrequencyTimes.h"
#include "tavrin/collect/GaugeSet.h"

namespace tavrin {

/// The present frequency of each frequency policy in MHz and the time at each of its frequencies,
/// from /sys/devices/system/cpu/cpufreq as Documentation/admin-guide/pm/cpufreq.rst has it, and the
/// performance that the CPUs delivered. A policy is an entity named after itself and its CPUs:
/// "Policy0 (CPU0-3)". Policies and CPUs join when CPUs come online.
class CpuFreqFeature : public Feature {
 public:
  CpuFreqFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void expectLast() override { gauges_.expectLast(); }
  void sample(unsigned long long now, SampleBatch& batch) override;
  void remainder(SampleBatch& batch) const override;

 private:
  void addPolicies();
  void addPolicy(unsigned int number);
  void addCpus();
  const pwr::MetricDescription* createGauges(unsigned int containerId);
  const pwr::MetricDescription* createTimes(unsigned int containerId);
  const pwr::MetricDescription* createPerformance(unsigned int containerId);

  const SysRoot* root_ = nullptr;
  CpuEntities* cpus_ = nullptr;
  std::set<unsigned int> policies_;  // numbers of those that are there
  GaugeSet gauges_{"Frequency"};
  FrequencyTimes times_;
  DeliveredPerformance performance_;
  // Null for what the machine lacks.
  const pwr::MetricDescription* gaugesMetric_ = nullptr;
  const pwr::MetricDescription* timesMetric_ = nullptr;
  const pwr::MetricDescription* performanceMetric_ = nullptr;
};

}  // namespace tavrin
