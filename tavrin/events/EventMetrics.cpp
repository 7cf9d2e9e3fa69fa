#include "tavrin/events/EventMetrics.h"

#include <algorithm>

#include "tavrin/events/CpuGroups.h"
#include "tavrin/events/OtherGroup.h"
#include "tavrin/events/ProcessGroup.h"
#include "tavrin/events/ThingGroups.h"

namespace tavrin {

namespace {

/// Of each kind of event, in the order of `KernelEvent::What`. A loss is of all.
constexpr std::array kGroupOfKind{
    EventGroup::Idle,        EventGroup::Frequency,   EventGroup::Schedule, EventGroup::Process,
    EventGroup::Process,     EventGroup::Process,     EventGroup::Process,  EventGroup::Wakeup,
    EventGroup::DevicePower, EventGroup::DevicePower, EventGroup::Thermal,  EventGroup::Thermal,
    EventGroup::Thermal,     EventGroup::Regulator,   EventGroup::Clock,    EventGroup::Clock,
    EventGroup::DevicePower, EventGroup::Other};
static_assert(kGroupOfKind.size() + 1 == std::variant_size_v<KernelEvent::What>);
static_assert(
    std::is_same_v<std::variant_alternative_t<kGroupOfKind.size(), KernelEvent::What>, LostEvents>);

std::unique_ptr<MetricGroup> createGroup(EventGroup group, EventShared& shared,
                                         const MetricGroup::Place& place) {
  switch (group) {
    case EventGroup::Idle:
      return std::make_unique<IdleGroup>(shared, place);
    case EventGroup::Frequency:
      return std::make_unique<FrequencyGroup>(shared, place);
    case EventGroup::Schedule:
      return std::make_unique<ScheduleGroup>(shared, place);
    case EventGroup::Process:
      return std::make_unique<ProcessGroup>(shared, place);
    case EventGroup::Wakeup:
      return std::make_unique<WakeupGroup>(shared, place);
    case EventGroup::DevicePower:
      return std::make_unique<DeviceGroup>(shared, place);
    case EventGroup::Thermal:
      return std::make_unique<ThermalGroup>(shared, place);
    case EventGroup::Regulator:
      return std::make_unique<RegulatorGroup>(shared, place);
    case EventGroup::Clock:
      return std::make_unique<ClockGroup>(shared, place);
    case EventGroup::Other:
      break;
  }
  return std::make_unique<OtherGroup>(shared, place);
}

}  // namespace

EventMetrics::EventMetrics(EventFacts facts)
    : shared_(std::make_unique<EventShared>(std::move(facts))) {}

EventMetrics::~EventMetrics() = default;

std::optional<EventGroup> EventMetrics::groupOf(const KernelEvent& event) {
  const std::size_t kind = event.what.index();
  return kind < kGroupOfKind.size() ? std::optional(kGroupOfKind[kind]) : std::nullopt;
}

std::vector<const pwr::MetricDescription*> EventMetrics::describe(EventGroup group,
                                                                  unsigned int containerId,
                                                                  const std::string& tag) {
  auto& created = groups_[group];
  created = createGroup(group, *shared_, {containerId, tag});
  for (std::size_t kind = 0; kind < kGroupOfKind.size(); ++kind) {
    if (kGroupOfKind[kind] == group) groupOfKind_[kind] = created.get();
  }
  return created->metrics();
}

void EventMetrics::tellProcess(int task, int process) {
  shared_->tasks().tell(task, process);
}

void EventMetrics::add(const KernelEvent& event, pwr::MessageSink& sink) {
  time_ = std::max(time_, event.time);
  const KernelEvent inOrder{.time = time_,
                            .cpu = event.cpu,
                            .what = event.what,
                            .name = event.name,
                            .system = event.system};
  if (std::holds_alternative<LostEvents>(event.what)) {
    for (auto& [kind, group] : groups_) group->add(inOrder, sink);
  } else if (MetricGroup* const group = groupOfKind_[event.what.index()]) {
    group->add(inOrder, sink);
  }
}

void EventMetrics::addCpu(unsigned int cpu, const pwr::EntityHandle* entity,
                          std::vector<std::string> idleStates) {
  shared_->addCpu(cpu, entity, std::move(idleStates));
}

void EventMetrics::forgetCpu(unsigned int cpu, unsigned long long time, pwr::MessageSink& sink) {
  time_ = std::max(time_, time);
  for (auto& [kind, group] : groups_) group->forgetCpu(cpu, time_, sink);
}

void EventMetrics::finish(unsigned long long time, pwr::MessageSink& sink) {
  for (auto& [kind, group] : groups_) group->finish(std::max(time, time_), sink);
}

}  // namespace tavrin
