#include "tavrin/collect/CoreCStateFeature.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/SysRoot.h"

namespace tavrin {

namespace {

constexpr unsigned long long kLongestTime =
    std::numeric_limits<unsigned long long>::max() / kTicksPerMicrosecond;

/// A fact about a state, in microseconds.
struct StateFact {
  const char* file;
  const char* name;
};

constexpr std::array<StateFact, 2> kStateFacts{
    {{"latency", "Exit Latency"}, {"residency", "Target Residency"}}};

/// Counters of a state beside its time and entries.
enum class SideCount { PartOfEntries, Entries, Time };
struct SideCounter {
  const char* file;
  const char* metric;
  SideCount kind;
};

constexpr std::array<SideCounter, 5> kSideFiles{{
    {"above", "CPU C-State Too Deep", SideCount::PartOfEntries},
    {"below", "CPU C-State Too Shallow", SideCount::PartOfEntries},
    {"rejected", "CPU C-State Refusals", SideCount::Entries},
    {"s2idle/usage", "CPU C-State Entries in Suspend", SideCount::Entries},
    {"s2idle/time", "CPU C-State Time in Suspend", SideCount::Time},
}};

const pwr::Quantity* createEntryQuantity() {
  const pwr::Quantity* rate =
      pwr::createQuantity({.type = pwr::QuantityType::Rate, .name = "Rate", .units = "/s"});
  return pwr::createQuantity({.type = pwr::QuantityType::StateEntry,
                              .name = "State Entries",
                              .units = "count",
                              .rate = rate});
}

/// Of a time that the clock of the intervals knows nothing of, as it stands still in suspend.
const pwr::Quantity* createSuspendQuantity() {
  const pwr::Quantity* rate = pwr::createQuantity(
      {.type = pwr::QuantityType::Rate, .name = "Time per Second", .units = "us/s"});
  return pwr::createQuantity({.name = "Time", .units = "us", .rate = rate});
}

}  // namespace

CoreCStateFeature::CoreCStateFeature()
    : Feature("core-cstate", "CPU C-State", "Residency and entries of each CPU's sleep states") {
  static_assert(kSideFiles.size() == kSideCounters);
}

std::string CoreCStateFeature::probe(const SysRoot& root, CpuEntities& cpus,
                                     unsigned int containerId) {
  isThisMachine_ = root.isThisMachine();
  root_ = &root;
  allCpus_ = &cpus;
  for (auto& counters : sideCounters_) counters = std::make_unique<CpuCounters>();
  addCpus();
  if (cpus_.empty()) return "no sleep states (cpuidle) below /sys/devices/system/cpu";
  createMetrics(containerId);
  return {};
}

/// Adds those that are not there yet and have sleep states.
void CoreCStateFeature::addCpus() {
  for (const CpuEntities::Cpu& cpu : allCpus_->cpus()) {
    if (known_.contains(cpu.number)) continue;
    std::vector<State> states = findStates(*root_, cpu);
    const std::size_t count = states.size();
    if (count == 0) continue;
    known_.insert(cpu.number);
    const bool staysOpen = std::ranges::all_of(states, [](const State& state) {
      return state.time.staysOpen() && state.usage.staysOpen();
    });
    cpus_.push_back({.number = cpu.number,
                     .entity = cpu.entity,
                     .states = std::move(states),
                     .carry = ResidencyCarry(count),
                     .ticks = std::vector<unsigned long long>(count),
                     .staysOpen = staysOpen});
  }
}

std::vector<CoreCStateFeature::State> CoreCStateFeature::findStates(const SysRoot& root,
                                                                    const CpuEntities::Cpu& cpu) {
  const std::string folder =
      "/sys/devices/system/cpu/cpu" + std::to_string(cpu.number) + "/cpuidle/";
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
    state.descriptor = descriptor(root, path, name);
    for (std::size_t i = 0; i < kSideCounters; ++i) {
      // What no CPU had at the start has no metric.
      if (!metrics().empty() && sideCounters_[i]->empty()) continue;
      sideCounters_[i]->add(root.path(path + kSideFiles[i].file), cpu.number, cpu.entity,
                            state.descriptor);
    }
    states.push_back(std::move(state));
  }
  return states;
}

/// Of CPUs that differ, states of one name may be different ones.
const pwr::DataDescriptor* CoreCStateFeature::descriptor(const SysRoot& root,
                                                         const std::string& folder,
                                                         const std::string& name) {
  if (stateAttributes_.empty()) {
    const pwr::Quantity* const time = pwr::createQuantity({.name = "Time", .units = "us"});
    for (const StateFact& fact : kStateFacts) {
      stateAttributes_.push_back(pwr::Attribute::create(fact.name, time, pwr::AttributeType::UInt));
    }
  }
  std::string facts;
  std::array<std::optional<unsigned long long>, kStateFacts.size()> values;
  for (std::size_t i = 0; i < values.size(); ++i) {
    unsigned long long microseconds = 0;
    if (root.readNumber(folder + kStateFacts[i].file, microseconds) != 0) continue;
    values[i] = microseconds;
    facts += std::string(facts.empty() ? "" : ", ") + kStateFacts[i].file + " " +
             std::to_string(microseconds) + " us";
  }
  const pwr::DataDescriptor*& known = descriptors_[name + "\n" + facts];
  if (known != nullptr) return known;
  const bool isNew = stateNames_.insert(name).second;
  pwr::DataDescriptorBuilder builder(isNew ? name : name + " (" + facts + ")",
                                     root.readLine(folder + "desc"));
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (values[i]) builder.addAttributeValue(stateAttributes_[i], pwr::Data(*values[i]));
  }
  return known = pwr::DataDescriptor::create(builder);
}

void CoreCStateFeature::createMetrics(unsigned int containerId) {
  pwr::ExpectedAttributeManager facts;
  for (const pwr::Attribute* attribute : stateAttributes_) facts.addAttribute(attribute);
  const auto stateGroup = std::make_shared<const pwr::Field>("C-State", facts);
  pwr::MetricDescription metric{.containerId = containerId,
                                .name = "CPU C-State",
                                .featureTag = tag(),
                                .type = pwr::Metric::MetricType::SampledResidency,
                                .legacyType = pwr::RealTableClass::Residency,
                                .quantity = pwr::Quantity::time(),
                                .entityGroup = std::make_shared<const pwr::Field>("CPU"),
                                .descriptorGroup = stateGroup};
  for (const SleepingCpu& cpu : cpus_) {
    for (const State& state : cpu.states) {
      metric.combinations.push_back({cpu.entity, state.descriptor});
    }
  }
  addMetric(pwr::createMetric(metric));
  metric.name = "CPU C-State Entries";
  metric.type = pwr::Metric::MetricType::SampledDelta;
  metric.legacyType = pwr::RealTableClass::Counter;
  metric.quantity = createEntryQuantity();
  addMetric(pwr::createMetric(metric));
  createSideMetrics(std::move(metric));
}

/// `metric`: that of the entries. Those that count some of the entries share its quantity.
void CoreCStateFeature::createSideMetrics(pwr::MetricDescription metric) {
  const pwr::Quantity* const entries = metric.quantity;
  for (std::size_t i = 0; i < kSideCounters; ++i) {
    if (sideCounters_[i]->empty()) continue;
    metric.name = kSideFiles[i].metric;
    metric.combinations = sideCounters_[i]->combinations();
    metric.quantity = kSideFiles[i].kind == SideCount::PartOfEntries ? entries
                      : kSideFiles[i].kind == SideCount::Time        ? createSuspendQuantity()
                                                                     : createEntryQuantity();
    sideCounters_[i]->setMetric(addMetric(pwr::createMetric(metric)));
  }
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

void CoreCStateFeature::update(SleepingCpu& cpu, unsigned long long now) {
  const bool wasValid = std::exchange(cpu.valid, allCpus_->online().contains(cpu.number));
  if (!read(cpu)) {
    cpu.valid = false;
    return;
  }
  const bool hasInterval = cpu.interval.advance(now);
  if (!advance(cpu)) {
    cpu.carry.restart();
  } else if (hasInterval && wasValid && cpu.valid) {
    cpu.carry.attribute(cpu.interval.length(), cpu.ticks);
    cpu.complete = true;
  } else {
    cpu.carry.restart(cpu.interval.length(), cpu.ticks);
  }
}

/// Reads the CPU if it is its turn.
void CoreCStateFeature::visit(SleepingCpu& cpu, unsigned long long now) {
  cpu.complete = false;
  if (cpu.staysOpen || turns_.isNext(2 * cpu.states.size())) {
    update(cpu, now);
  } else {
    cpu.valid = cpu.valid && allCpus_->online().contains(cpu.number);
  }
}

/// Emits a metric of the states of the CPUs that have an interval.
template <typename ValueOf>
void CoreCStateFeature::emit(const pwr::MetricDescription* metric, SampleBatch& batch,
                             ValueOf valueOf) const {
  const Interval none;
  IntervalPoint point(batch, metric, none);
  for (const SleepingCpu& cpu : cpus_) {
    for (std::size_t i = 0; cpu.complete && i < cpu.states.size(); ++i) {
      point.of(cpu.interval).add(pwr::Data(valueOf(cpu, i)), cpu.states[i].descriptor, cpu.entity);
    }
  }
}

void CoreCStateFeature::sample(unsigned long long now, SampleBatch& batch) {
  allCpus_->updateAt(now);
  if (allCpus_->hasNews()) addCpus();
  turns_.beginPass(now);
  for (SleepingCpu& cpu : cpus_) visit(cpu, now);
  emit(metrics()[0], batch, [](const SleepingCpu& cpu, std::size_t i) { return cpu.ticks[i]; });
  emit(metrics()[1], batch,
       [](const SleepingCpu& cpu, std::size_t i) { return cpu.states[i].entries; });
  for (const auto& counters : sideCounters_) counters->sample(now, allCpus_->online(), batch);
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
  for (const auto& counters : sideCounters_) counters->remainder(batch);
}

}  // namespace tavrin
