#include "tavrin/events/CpuGroups.h"

#include <algorithm>

#include "formats/kernel_metrics.h"
#include "hostcommon/Descriptions.h"

namespace tavrin {

namespace {

using Type = pwr::Metric::MetricType;

constexpr double kKilohertzPerMegahertz = 1000.0;

std::shared_ptr<const pwr::Field> field(const char* name) {
  return std::make_shared<const pwr::Field>(name);
}

/// "Active", then the idle states by their first appearance.
std::vector<pwr::Data> idleStates(const EventFacts& facts) {
  std::vector<std::string> names{std::string(kernel_metrics::kNotIdle)};
  for (const auto& [cpu, states] : facts.idleStates) {
    for (const std::string& state : states) {
      if (std::ranges::count(names, state) == 0) names.push_back(state);
    }
  }
  std::vector<pwr::Data> values;
  values.reserve(names.size());
  for (const std::string& name : names) values.emplace_back(name);
  return values;
}

}  // namespace

IdleGroup::IdleGroup(EventShared& shared, const Place& place)
    : shared_(shared),
      states_(addMetric({.name = std::string(kernel_metrics::kIdleState),
                         .type = Type::TracedValueTransition,
                         .quantity = stateQuantity(),
                         .entityGroup = field("CPU"),
                         .valueGroup = field("State"),
                         .finiteSet = idleStates(shared.facts())},
                        place, "State", shared.facts().cpus),
              shared) {}

void IdleGroup::add(const KernelEvent& event, pwr::MessageSink& sink) {
  const auto* const idle = std::get_if<IdleEvent>(&event.what);
  if (idle == nullptr) {
    states_.forget(event.cpu, event.time, sink);
  } else {
    states_.change(idle->cpu, event.time, state(*idle), nullptr, sink);
  }
}

pwr::Data IdleGroup::state(const IdleEvent& event) const {
  if (event.state == IdleEvent::kLeft) return pwr::Data(std::string(kernel_metrics::kNotIdle));
  const auto& known = shared_.facts().idleStates;
  const auto cpu = known.find(event.cpu);
  if (cpu == known.end() || event.state >= cpu->second.size()) {
    return pwr::Data(std::string(kernel_metrics::kNamelessState) + std::to_string(event.state));
  }
  return pwr::Data(cpu->second[event.state]);
}

FrequencyGroup::FrequencyGroup(EventShared& shared, const Place& place)
    : states_(addMetric(
                  {.name = std::string(kernel_metrics::kFrequency),
                   .type = Type::TracedValueTransition,
                   .quantity = pwr::createQuantity(
                       {.type = pwr::QuantityType::Frequency, .name = "Frequency", .units = "MHz"}),
                   .entityGroup = field("CPU"),
                   .valueGroup = field("Frequency"),
                   .finiteSet = frequencies(shared.facts())},
                  place, "Frequency", shared.facts().cpus),
              shared) {}

std::vector<pwr::Data> FrequencyGroup::frequencies(const EventFacts& facts) {
  std::vector<pwr::Data> values;
  for (const double frequency : facts.frequencies) values.emplace_back(frequency);
  return values;
}

void FrequencyGroup::add(const KernelEvent& event, pwr::MessageSink& sink) {
  const auto* const change = std::get_if<FrequencyEvent>(&event.what);
  if (change == nullptr) {
    states_.finish(event.time, sink);  // any CPU may tell of the frequency of another one
  } else {
    states_.change(change->cpu, event.time, pwr::Data(change->kilohertz / kKilohertzPerMegahertz),
                   nullptr, sink);
  }
}

ScheduleGroup::ScheduleGroup(EventShared& shared, const Place& place)
    : shared_(shared),
      states_(addMetric({.name = std::string(kernel_metrics::kRunningTask),
                         .type = Type::TracedValueTransition,
                         .quantity = stateQuantity(),
                         .entityGroup = field("CPU"),
                         .valueGroup = std::make_shared<const pwr::Field>(
                             "Task", TaskTable::expectedAttributes())},
                        place, "Task", shared.facts().cpus),
              shared) {}

void ScheduleGroup::add(const KernelEvent& event, pwr::MessageSink& sink) {
  const auto* const next = std::get_if<SwitchEvent>(&event.what);
  if (next == nullptr) return states_.forget(event.cpu, event.time, sink);
  const TaskTable::Appearance& task = shared_.tasks().appearance(next->task, next->name);
  states_.change(event.cpu, event.time, task.name, task.attributes, sink);
}

}  // namespace tavrin
