#include "exporters/perfetto/KernelBundles.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <protozero/pbf_writer.hpp>

#include "exporters/perfetto/TraceFields.h"
#include "formats/kernel_metrics.h"
#include "writers/common/EventAttributes.h"

namespace pftrace {

namespace {

using Message = protozero::pbf_writer;

/// So many CPUs does a viewer take; a trace with more is none to it.
constexpr std::uint32_t kMostCpus = 1024;
/// A bundle is written when its events have so many bytes.
constexpr std::size_t kBundle = 4096;
constexpr double kKilohertzPerMegahertz = 1000.0;

std::optional<std::uint32_t> numberBehind(std::string_view prefix, std::string_view text) {
  std::uint32_t number = 0;
  if (!text.starts_with(prefix)) return std::nullopt;
  text.remove_prefix(prefix.size());
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::optional<std::uint32_t> cpuOf(const pwr::EntityHandle& entity) {
  if (entity.getLevel() != kernel_metrics::kCpuLevel) return std::nullopt;
  const auto cpu = numberBehind(kernel_metrics::kCpuName, entity.getName());
  return cpu && *cpu < kMostCpus ? cpu : std::nullopt;
}

std::optional<std::uint32_t> kilohertz(const pwr::Data& value) {
  double megahertz = 0.0;
  if (value.toReal(megahertz) != 0) return std::nullopt;
  const double rounded = std::round(megahertz * kKilohertzPerMegahertz);
  const bool isFrequency = rounded >= 0.0 && rounded <= std::numeric_limits<std::uint32_t>::max();
  return isFrequency ? std::optional(static_cast<std::uint32_t>(rounded)) : std::nullopt;
}

std::string idleTask(std::uint32_t cpu) {
  return "swapper/" + std::to_string(cpu);
}

}  // namespace

std::optional<KernelBundles::Kind> KernelBundles::kindOf(const pwr::Metric& metric) {
  if (metric.getMetricType() != pwr::Metric::MetricType::TracedValueTransition) return std::nullopt;
  const std::string& name = metric.getDescription()->name;
  if (name == kernel_metrics::kRunningTask) return Kind::Switch;
  if (name == kernel_metrics::kIdleState) return Kind::Idle;
  if (name == kernel_metrics::kFrequency) return Kind::Frequency;
  return std::nullopt;
}

KernelBundles::KernelBundles(const pwr::Metric& metric, Kind kind) : kind_(kind) {
  if (kind_ != Kind::Idle) return;
  std::uint32_t number = 0;
  for (const pwr::Data& value : metric.getFiniteSetValues()) {
    std::string name;
    value.toString(name);
    if (name != kernel_metrics::kNotIdle) states_.try_emplace(name, number++);
  }
}

void KernelBundles::add(Trace& trace, const pwr::Metric& metric) {
  for (const pwr::DataElement& element : metric.getData().elements) {
    const std::optional<Span> span =
        trace.inRun({metric.getData().timestamp, element.getDuration()});
    Lane* const lane = span ? find(trace, element.getEntity()) : nullptr;
    // What is out of order stands among the slices only, if there.
    if (lane == nullptr || span->time < lane->end) continue;
    if (lane->isBegun && span->time > lane->end) endWithoutNext(trace, *lane);
    if (!addState(trace, *lane, element, trace.clock.nanoseconds(span->time))) continue;
    lane->isBegun = true;
    lane->end = span->end();
    if (lane->events.size() >= kBundle) flush(trace, *lane);
  }
}

KernelBundles::Lane* KernelBundles::find(Trace& trace, const pwr::EntityHandle* entity) {
  if (entity == nullptr) return nullptr;
  const auto known = lanes_.find(entity->getId());
  if (known != lanes_.end()) return &known->second;
  const std::optional<std::uint32_t> cpu = cpuOf(*entity);
  if (!cpu) return nullptr;
  Lane& lane = lanes_[entity->getId()];
  lane.cpu = *cpu;
  lane.sequence = trace.file.newId();
  lane.task.name = idleTask(*cpu);
  return &lane;
}

/// False for a value that no such event has.
bool KernelBundles::addState(Trace& trace, Lane& lane, const pwr::DataElement& element,
                             std::uint64_t time) {
  if (kind_ == Kind::Switch) return addSwitch(trace, lane, element, time);
  const auto state =
      kind_ == Kind::Idle ? idleState(*element.getValue()) : kilohertz(*element.getValue());
  if (state) addPower(lane, *state, time);
  return state.has_value();
}

std::optional<std::uint32_t> KernelBundles::idleState(const pwr::Data& value) const {
  std::string name;
  if (value.toString(name) != 0) return std::nullopt;
  if (name == kernel_metrics::kNotIdle) return kernel::power::kNotIdle;
  const auto known = states_.find(name);
  if (known != states_.end()) return known->second;
  return numberBehind(kernel_metrics::kNamelessState, name);
}

bool KernelBundles::addSwitch(Trace& trace, Lane& lane, const pwr::DataElement& element,
                              std::uint64_t time) {
  const EventOwner owner = EventOwner::of(element);
  Task next;
  if (element.getValue()->toString(next.name) != 0) return false;
  if (owner.tid) {
    const std::optional<std::int32_t> tid = taskId(owner.tid);
    if (!tid) return false;
    next.tid = *tid;
    if (const auto pid = taskId(owner.pid)) trace.tree.thread(*pid, *tid, next.name);
  } else if (next.name == kernel_metrics::kIdleTask) {
    next.name = idleTask(lane.cpu);
  } else {
    return false;
  }
  next.name = shownText(next.name);
  addSwitch(lane, next, time);
  return true;
}

/// The metric does not tell what a task did when it was stopped: it is told to sleep.
void KernelBundles::addSwitch(Lane& lane, const Task& next, std::uint64_t time) {
  namespace sched = kernel::sched_switch;
  Message bundle(lane.events);
  Message event(bundle, bundle::kEvent);
  event.add_uint64(kernel::kTimestamp, time);
  event.add_uint32(kernel::kPid, static_cast<std::uint32_t>(lane.task.tid));
  Message change(event, kernel::kSchedSwitch);
  change.add_string(sched::kPrevComm, lane.task.name);
  change.add_int32(sched::kPrevPid, lane.task.tid);
  change.add_int64(sched::kPrevState, lane.task.tid == 0 ? sched::kRunnable : sched::kSleeping);
  change.add_string(sched::kNextComm, next.name);
  change.add_int32(sched::kNextPid, next.tid);
  lane.task = next;
}

void KernelBundles::addPower(Lane& lane, std::uint32_t state, std::uint64_t time) const {
  Message bundle(lane.events);
  Message event(bundle, bundle::kEvent);
  event.add_uint64(kernel::kTimestamp, time);
  event.add_uint32(kernel::kPid, 0);
  Message change(event, kind_ == Kind::Idle ? kernel::kCpuIdle : kernel::kCpuFrequency);
  change.add_uint32(kernel::power::kState, state);
  change.add_uint32(kernel::power::kCpu, lane.cpu);
}

/// The last state is over, and nothing is known of what follows.
void KernelBundles::endWithoutNext(Trace& trace, Lane& lane) {
  const std::uint64_t time = trace.clock.nanoseconds(lane.end);
  if (kind_ == Kind::Switch) {
    addSwitch(lane, {.name = idleTask(lane.cpu)}, time);
  } else {
    addPower(lane, kind_ == Kind::Idle ? kernel::power::kNotIdle : 0, time);
  }
  flush(trace, lane);
  lane.isBehindGap = true;
}

void KernelBundles::flush(Trace& trace, Lane& lane) {
  if (lane.events.empty()) return;
  std::string& bytes = trace.file.scratch();
  {
    Message packet(bytes);
    packet.add_uint32(packet::kSequenceId, lane.sequence);
    if (lane.isFirst) {
      packet.add_uint32(packet::kSequenceFlags, packet::kStateCleared);
      packet.add_bool(packet::kFirstOnSequence, true);
    }
    Message bundle(packet, packet::kFtraceEvents);
    bundle.add_uint32(bundle::kCpu, lane.cpu);
    bytes += lane.events;
    if (lane.isBehindGap) bundle.add_bool(bundle::kLostEvents, true);
    bundle.add_enum(bundle::kClock, bundle::kMonotonicRaw);
  }
  trace.file.add(bytes);
  lane.events.clear();
  lane.isFirst = lane.isBehindGap = false;
}

void KernelBundles::close(Trace& trace, unsigned long long end) {
  for (auto& [entity, lane] : lanes_) {
    // A state that began with the last event of all has lasted a tick.
    if (lane.isBegun && lane.end + 1 < end) endWithoutNext(trace, lane);
    flush(trace, lane);
  }
}

}  // namespace pftrace
