#include "tavrin/events/MetricGroup.h"

#include "formats/kernel_metrics.h"
#include "hostcommon/Descriptions.h"
#include "tavrin/common/Messages.h"
#include "tavrin/common/PlainText.h"

namespace tavrin {

namespace {

constexpr unsigned int kMostCpus = 65536;  // keeps damaged numbers from filling the memory

}  // namespace

const pwr::EntityHandle* EventShared::cpu(unsigned int number) {
  if (number >= kMostCpus) return nullptr;
  const pwr::EntityHandle*& entity = facts_.cpus[number];
  if (entity == nullptr) {
    entity =
        pwr::createEntity({.name = std::string(kernel_metrics::kCpuName) + std::to_string(number),
                           .level = std::string(kernel_metrics::kCpuLevel)});
  }
  return entity;
}

TracedMetric MetricGroup::addMetric(
    pwr::MetricDescription metric, const Place& place, const std::string& descriptor,
    const std::map<unsigned int, const pwr::EntityHandle*>& entities) {
  const auto* const handle =
      pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(descriptor, ""));
  metric.containerId = place.containerId;
  metric.featureTag = place.tag;
  metric.legacyType = pwr::RealTableClass::Trace;
  for (const auto& [number, entity] : entities) metric.combinations.push_back({entity, handle});
  metrics_.push_back(pwr::createMetric(std::move(metric)));
  return {metrics_.back(), handle};
}

const pwr::Quantity* stateQuantity() {
  static const pwr::Quantity* const quantity =
      pwr::createQuantity({.type = pwr::QuantityType::State, .name = "State"});
  return quantity;
}

void CpuStates::change(unsigned int cpu, unsigned long long time, pwr::Data value,
                       EventAttributes attributes, pwr::MessageSink& sink) {
  if (cpu >= things_.size() || things_[cpu] == kNone) {
    const pwr::EntityHandle* const entity = shared_.cpu(cpu);
    if (entity == nullptr) return;
    if (cpu >= things_.size()) things_.resize(cpu + std::size_t{1}, kNone);
    things_[cpu] = trace_.add(entity);
  }
  trace_.change(things_[cpu], time, std::move(value), std::move(attributes), sink);
}

void CpuStates::forget(unsigned int cpu, unsigned long long time, pwr::MessageSink& sink) {
  if (cpu < things_.size() && things_[cpu] != kNone) trace_.forget(things_[cpu], time, sink);
}

const pwr::EntityHandle* NamedThings::operator[](std::string_view name) {
  const auto found = entities_.find(name);
  if (found != entities_.end()) return found->second;
  if (entities_.size() > kMost) return nullptr;
  const pwr::EntityHandle* entity = nullptr;
  if (entities_.size() < kMost) {
    entity = pwr::createEntity({.name = escaped(name), .level = level_});
  } else {
    warn("events name more than " + std::to_string(kMost) + " things of the kind " + level_ +
         "; further ones are left out, the first of them is " + std::string(name));
  }
  return entities_.emplace(name, entity).first->second;
}

void ThingStates::change(std::string_view name, unsigned long long time, pwr::Data value,
                         pwr::MessageSink& sink) {
  const pwr::EntityHandle* const entity = things_[name];
  if (entity == nullptr) return;
  const auto [place, isNew] = numbers_.try_emplace(entity);
  if (isNew) place->second = trace_.add(entity);
  trace_.change(place->second, time, std::move(value), nullptr, sink);
}

void ThingStates::forget(std::string_view name, unsigned long long time, pwr::MessageSink& sink) {
  const pwr::EntityHandle* const entity = things_.find(name);
  const auto place = numbers_.find(entity);
  if (place != numbers_.end()) trace_.forget(place->second, time, sink);
}

}  // namespace tavrin
