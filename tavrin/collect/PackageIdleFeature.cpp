#include "tavrin/collect/PackageIdleFeature.h"

#include <cerrno>
#include <system_error>

#include "hostcommon/Descriptions.h"

namespace tavrin {

PackageIdleFeature::PackageIdleFeature()
    : Feature("package-idle", "Package C-State",
              "Sleep of packages, cores and the machine as the hardware granted it"),
      times_(kTicksPerMicrosecond) {
  sources_.push_back({CStateCounters("cstate_pkg", "Package"), "Package C-State"});
  sources_.push_back({CStateCounters("cstate_core", "Core"), "Core C-State"});
}

void PackageIdleFeature::findFiles(const SysRoot& root) {
  const pwr::DataDescriptor* state = nullptr;
  for (const auto& [file, name] : {std::pair{"cpu", "All processors"}, {"system", "Machine"}}) {
    OpenFile opened(root.path(std::string("/sys/devices/system/cpu/cpuidle/low_power_idle_") +
                              file + "_residency_us"));
    unsigned long long microseconds = 0;
    if (opened.readNumber(microseconds) != 0) continue;
    if (state == nullptr) {
      state = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("low power idle", ""));
    }
    const pwr::EntityHandle* const entity = pwr::createEntity({.name = name, .level = "Machine"});
    files_.push_back({std::move(opened), times_.add(entity, {state})});
  }
}

const pwr::MetricDescription* PackageIdleFeature::add(pwr::MetricDescription metric,
                                                      const char* name, unsigned int containerId) {
  metric.containerId = containerId;
  metric.name = name;
  metric.featureTag = tag();
  return addMetric(pwr::createMetric(std::move(metric)));
}

std::string PackageIdleFeature::probe(const SysRoot& root, CpuEntities& cpus,
                                      unsigned int containerId) {
  cpus_ = &cpus;
  int failure = ENOENT;
  for (Source& source : sources_) {
    // A copy's files say nothing about the counters of this machine.
    const int error = root.isThisMachine() ? source.counters.open(root, cpus) : ENOENT;
    if (error == 0) {
      source.description = add(source.counters.describe(), source.metric, containerId);
    } else if (error != ENOENT) {
      failure = error;
    }
  }
  findFiles(root);
  if (!files_.empty()) {
    timesMetric_ = add(times_.describe("Part"), "Low Power Idle", containerId);
  }
  if (!metrics().empty()) return {};
  const std::string others = ", no low_power_idle_* below /sys/devices/system/cpu/cpuidle";
  if (failure != ENOENT) {
    return "cstate_* cannot be counted: " + std::generic_category().message(failure) + others;
  }
  return "no counters cstate_* of this machine below /sys/bus/event_source/devices" + others;
}

void PackageIdleFeature::sample(unsigned long long now, SampleBatch& batch) {
  cpus_->updateAt(now);
  for (Source& source : sources_) {
    if (source.description != nullptr) {
      source.counters.sample(now, *cpus_, source.description, batch);
    }
  }
  if (timesMetric_ == nullptr) return;
  const bool complete = interval_.advance(now);
  for (File& file : files_) {
    unsigned long long microseconds = 0;
    if (file.file.readNumber(microseconds) == 0) times_.note(file.row, {&microseconds, 1});
  }
  times_.emit(timesMetric_, complete, interval_, batch);
}

void PackageIdleFeature::remainder(SampleBatch& batch) const {
  Feature::remainder(batch);
  for (const Source& source : sources_) {
    if (source.description != nullptr) source.counters.remainder(source.description, batch);
  }
  if (timesMetric_ != nullptr) times_.remainder(timesMetric_, batch);
}

}  // namespace tavrin
