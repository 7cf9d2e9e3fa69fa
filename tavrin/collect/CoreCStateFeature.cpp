#include "tavrin/collect/CoreCStateFeature.h"

#include <algorithm>
#include <limits>
#include <set>
#include <utility>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/SysRoot.h"

namespace tavrin {

namespace {

constexpr unsigned long long kLongestTime =
    std::numeric_limits<unsigned long long>::max() / kTicksPerMicrosecond;

}  // namespace

CoreCStateFeature::CoreCStateFeature()
    : Feature("core-cstate", "CPU C-State", "Residency and entries of each CPU's sleep states") {}

std::string CoreCStateFeature::probe(const SysRoot& root, CpuEntities& cpus,
                                     unsigned int containerId) {
  isThisMachine_ = root.isThisMachine();
  for (const CpuEntities::Cpu& cpu : cpus.cpus()) {
    std::vector<State> states = findStates(root, cpu.number);
    const std::size_t count = states.size();
    if (count == 0) continue;
    cpus_.push_back({.number = cpu.number,
                     .entity = cpu.entity,
                     .states = std::move(states),
                     .carry = ResidencyCarry(count),
                     .ticks = std::vector<unsigned long long>(count)});
  }
  if (cpus_.empty()) return "no sleep states (cpuidle) below /sys/devices/system/cpu";
  online_.emplace(root);
  createMetrics(containerId);
  return {};
}

std::vector<CoreCStateFeature::State> CoreCStateFeature::findStates(const SysRoot& root,
                                                                    unsigned int cpu) {
  const std::string folder = "/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/cpuidle/";
  std::vector<State> states;
  std::set<std::string> names;
  for (const unsigned int number : root.listNumbered(folder, "state")) {
    const std::string id = "state" + std::to_string(number);
    const std::string path = std::string(folder).append(id).append("/");
    std::string name = root.readLine(path + "name");
    State state{.time = OpenFile(root.path(path + "time")),
                .usage = OpenFile(root.path(path + "usage"))};
    // A state that is incomplete from the start would make its CPU one long gap.
    const bool readable = state.time.readNumber(state.last.time) == 0 &&
                          state.usage.readNumber(state.last.usage) == 0;
    if (name.empty() || !readable) continue;
    if (!names.insert(name).second) name += " (" + id + ")";
    state.descriptor = descriptor(name, root.readLine(path + "desc"));
    states.push_back(std::move(state));
  }
  return states;
}

const pwr::DataDescriptor* CoreCStateFeature::descriptor(const std::string& name,
                                                         const std::string& description) {
  const pwr::DataDescriptor*& known = descriptors_[name];
  if (known == nullptr) {
    known = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name, description));
  }
  return known;
}

void CoreCStateFeature::createMetrics(unsigned int containerId) {
  pwr::MetricDescription metric{.containerId = containerId,
                                .name = "CPU C-State",
                                .featureTag = tag(),
                                .type = pwr::Metric::MetricType::SampledResidency,
                                .legacyType = pwr::RealTableClass::Residency,
                                .quantity = pwr::Quantity::time(),
                                .entityGroup = std::make_shared<const pwr::Field>("CPU"),
                                .descriptorGroup = std::make_shared<const pwr::Field>("C-State")};
  for (const SleepingCpu& cpu : cpus_) {
    for (const State& state : cpu.states) {
      metric.combinations.push_back({cpu.entity, state.descriptor});
    }
  }
  addMetric(pwr::createMetric(metric));
  metric.name = "CPU C-State Entries";
  metric.type = pwr::Metric::MetricType::SampledDelta;
  metric.legacyType = pwr::RealTableClass::Counter;
  const pwr::Quantity* rate =
      pwr::createQuantity({.type = pwr::QuantityType::Rate, .name = "Rate", .units = "/s"});
  metric.quantity = pwr::createQuantity({.type = pwr::QuantityType::StateEntry,
                                         .name = "State Entries",
                                         .units = "count",
                                         .rate = rate});
  addMetric(pwr::createMetric(std::move(metric)));
}

/// Takes the readings of all states. Returns false when one cannot be read.
bool CoreCStateFeature::read(SleepingCpu& cpu) {
  return std::ranges::all_of(cpu.states, [](State& state) {
    return state.time.readNumber(state.present.time) == 0 &&
           state.usage.readNumber(state.present.usage) == 0;
  });
}

/// Takes the growth of the states from their last to their present readings, which become the last
/// ones. Returns false when a counter has run backwards.
bool CoreCStateFeature::advance(SleepingCpu& cpu) {
  bool forwards = true;
  for (std::size_t i = 0; i < cpu.states.size(); ++i) {
    State& state = cpu.states[i];
    const Reading last = std::exchange(state.last, state.present);
    forwards = forwards && state.last.time >= last.time && state.last.usage >= last.usage;
    cpu.ticks[i] = std::min(state.last.time - last.time, kLongestTime) * kTicksPerMicrosecond;
    state.entries = state.last.usage - last.usage;
  }
  return forwards;
}

void CoreCStateFeature::update(SleepingCpu& cpu, unsigned long long now, bool hasInterval) {
  cpu.complete = false;
  const bool wasValid = std::exchange(cpu.valid, online_->contains(cpu.number));
  if (!read(cpu)) {
    cpu.valid = false;
    return;
  }
  const unsigned long long sinceLast = now - std::exchange(cpu.lastRead, now);
  if (!advance(cpu)) {
    cpu.carry.restart();
  } else if (hasInterval && wasValid && cpu.valid) {
    cpu.carry.attribute(interval_.length(), cpu.ticks);
    cpu.complete = true;
  } else {
    cpu.carry.restart(sinceLast, cpu.ticks);
  }
}

void CoreCStateFeature::sample(unsigned long long now, SampleBatch& batch) {
  const bool hasInterval = interval_.advance(now);
  online_->read();
  for (SleepingCpu& cpu : cpus_) update(cpu, now, hasInterval);
  IntervalPoint residencies(batch, metrics()[0], interval_);
  for (const SleepingCpu& cpu : cpus_) {
    for (std::size_t i = 0; cpu.complete && i < cpu.states.size(); ++i) {
      residencies.add(pwr::Data(cpu.ticks[i]), cpu.states[i].descriptor, cpu.entity);
    }
  }
  IntervalPoint entries(batch, metrics()[1], interval_);
  for (const SleepingCpu& cpu : cpus_) {
    for (std::size_t i = 0; cpu.complete && i < cpu.states.size(); ++i) {
      entries.add(pwr::Data(cpu.states[i].entries), cpu.states[i].descriptor, cpu.entity);
    }
  }
}

void CoreCStateFeature::remainder(SampleBatch& batch) const {
  Feature::remainder(batch);
  const Interval none;
  IntervalPoint residencies(batch, metrics()[0], none);
  for (const SleepingCpu& cpu : cpus_) {
    const std::vector<unsigned long long> ticks = cpu.carry.remainder();
    for (std::size_t i = 0; i < ticks.size(); ++i) {
      if (ticks[i] == 0) continue;
      residencies.add(pwr::Data(ticks[i]), cpu.states[i].descriptor, cpu.entity);
    }
  }
}

}  // namespace tavrin
