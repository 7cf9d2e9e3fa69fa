#include "tavrin/collect/ThrottleFeature.h"

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/Counting.h"
#include "tavrin/collect/SysRoot.h"

namespace tavrin {

namespace {

const pwr::EntityHandle* packageOf(const pwr::EntityHandle* entity) {
  while (entity->getParent() != nullptr) entity = entity->getParent();
  return entity;
}

}  // namespace

ThrottleFeature::ThrottleFeature()
    : Feature("throttle", "Throttling", "Slowdowns of processors and cooling devices by heat") {}

/// Adds the counter unless it is there already, or is not to be had.
void ThrottleFeature::addCounter(const CpuEntities::Cpu& cpu, const pwr::EntityHandle* entity,
                                 const char* file) {
  const std::string path =
      "/sys/devices/system/cpu/cpu" + std::to_string(cpu.number) + "/thermal_throttle/" + file;
  unsigned long long count = 0;
  if (counters_->contains(entity) || root_->readNumber(path, count) != 0) return;
  if (descriptor_ == nullptr) {
    descriptor_ = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("slowdowns", ""));
  }
  counters_->add(root_->path(path), cpu.number, entity, descriptor_);
}

void ThrottleFeature::addCounters() {
  for (const CpuEntities::Cpu& cpu : cpus_->cpus()) {
    addCounter(cpu, cpu.entity, "core_throttle_count");
    addCounter(cpu, packageOf(cpu.entity), "package_throttle_count");
  }
}

std::string ThrottleFeature::probe(const SysRoot& root, CpuEntities& cpus,
                                   unsigned int containerId) {
  root_ = &root;
  cpus_ = &cpus;
  addCounters();
  cooling_.emplace(root);
  if (counters_->empty() && cooling_->empty()) {
    return "no counts (thermal_throttle) below /sys/devices/system/cpu, no cooling devices below "
           "/sys/class/thermal";
  }
  if (!counters_->empty()) {
    counters_->setMetric(addMetric(
        pwr::createMetric({.containerId = containerId,
                           .name = "Thermal Throttling",
                           .featureTag = tag(),
                           .type = pwr::Metric::MetricType::SampledDelta,
                           .legacyType = pwr::RealTableClass::Counter,
                           .quantity = createEventsQuantity(),
                           .combinations = counters_->combinations(),
                           .entityGroup = std::make_shared<const pwr::Field>("Processor")})));
  }
  if (!cooling_->empty()) {
    pwr::MetricDescription metric = cooling_->describe();
    metric.containerId = containerId;
    metric.featureTag = tag();
    coolingMetric_ = addMetric(pwr::createMetric(std::move(metric)));
  }
  return {};
}

void ThrottleFeature::sample(unsigned long long now, SampleBatch& batch) {
  cpus_->updateAt(now);
  if (!counters_->empty()) {
    if (cpus_->hasNews()) addCounters();
    counters_->sample(now, cpus_->online(), batch);
  }
  if (coolingMetric_ != nullptr) cooling_->sample(now, coolingMetric_, batch);
}

void ThrottleFeature::remainder(SampleBatch& batch) const {
  Feature::remainder(batch);
  counters_->remainder(batch);
}

}  // namespace tavrin
