#include "tavrin/collect/CoreCStateFeature.h"

#include <set>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/CpuEntities.h"
#include "tavrin/collect/SysRoot.h"

namespace tavrin {

namespace {

constexpr unsigned long long kTicksPerMicrosecond = kTicksPerSecond / 1'000'000;

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
    cpus_.push_back({.entity = cpu.entity,
                     .states = std::move(states),
                     .carry = ResidencyCarry(count),
                     .ticks = std::vector<unsigned long long>(count)});
  }
  if (cpus_.empty()) return "no sleep states (cpuidle) below /sys/devices/system/cpu";
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
    const bool readable =
        state.time.readNumber(state.lastTime) == 0 && state.usage.readNumber(state.lastUsage) == 0;
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

/// Takes the readings of all states and their growth since the last ones. Returns false when one
/// cannot be read.
bool CoreCStateFeature::read(SleepingCpu& cpu, bool& forwards) {
  forwards = true;
  for (std::size_t i = 0; i < cpu.states.size(); ++i) {
    State& state = cpu.states[i];
    unsigned long long time = 0;
    unsigned long long usage = 0;
    if (state.time.readNumber(time) != 0 || state.usage.readNumber(usage) != 0) return false;
    forwards = forwards && time >= state.lastTime && usage >= state.lastUsage;
    cpu.ticks[i] = (time - state.lastTime) * kTicksPerMicrosecond;
    state.entries = usage - state.lastUsage;
    state.lastTime = time;
    state.lastUsage = usage;
  }
  return true;
}

void CoreCStateFeature::sample(unsigned long long now, SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  for (SleepingCpu& cpu : cpus_) {
    bool forwards = false;
    const bool wasValid = cpu.valid;
    cpu.valid = read(cpu, forwards);
    cpu.complete = complete && wasValid && cpu.valid && forwards;
    if (cpu.complete) {
      cpu.carry.attribute(interval_.length(), cpu.ticks);
    } else {
      cpu.carry.restart();
    }
  }
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

}  // namespace tavrin
