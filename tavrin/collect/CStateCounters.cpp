#include "tavrin/collect/CStateCounters.h"

#include <linux/perf_event.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <utility>

#include "hostcommon/Descriptions.h"

namespace tavrin {

namespace {

constexpr const char* kEventSources = "/sys/bus/event_source/devices/";
constexpr const char* kClockSource = "msr";
constexpr const char* kClockEvent = "tsc";

/// The events of a source: "c6-residency" with what is behind "event=" in its file. Files with
/// units and the like have a dot in their name.
CpuEvents readEvents(const SysRoot& root, const std::string& source) {
  CpuEvents events;
  const std::string folder = kEventSources + source + "/events/";
  for (const std::string& name : root.list(folder)) {
    const std::string text = root.readLine(folder + name);
    const std::string start = "event=0x";
    std::uint64_t config = 0;
    if (name.find('.') != std::string::npos || !text.starts_with(start)) continue;
    const auto parsed =
        std::from_chars(text.data() + start.size(), text.data() + text.size(), config, 16);
    if (parsed.ec == std::errc()) events.emplace_back(name, config);
  }
  return events;
}

/// "C6" for "c6-residency".
std::string stateName(const std::string& event) {
  std::string name = event.substr(0, event.find("-residency"));
  if (!name.empty() && name.front() == 'c') name.front() = 'C';
  return name;
}

}  // namespace

CpuEventCounter::~CpuEventCounter() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

CpuEventCounter::CpuEventCounter(CpuEventCounter&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

CpuEventCounter& CpuEventCounter::operator=(CpuEventCounter&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  return *this;
}

int CpuEventCounter::open(std::uint32_t type, std::uint64_t config, unsigned int cpu) {
  perf_event_attr attributes{};
  attributes.size = sizeof attributes;
  attributes.type = type;
  attributes.config = config;
  descriptor_ = static_cast<int>(syscall(SYS_perf_event_open, &attributes, -1,
                                         static_cast<int>(cpu), -1, PERF_FLAG_FD_CLOEXEC));
  return descriptor_ < 0 ? errno : 0;
}

bool CpuEventCounter::read(unsigned long long& count) const {
  std::uint64_t value = 0;
  if (::read(descriptor_, &value, sizeof value) != sizeof value) return false;
  count = value;
  return true;
}

int CStateCounters::openClock(const SysRoot& root, unsigned int cpu) {
  unsigned long long type = 0;
  const CpuEvents events = readEvents(root, kClockSource);
  const auto event = std::ranges::find(events, kClockEvent, &CpuEvents::value_type::first);
  const std::string file = std::string(kEventSources) + kClockSource + "/type";
  if (event == events.end() || root.readNumber(file, type) != 0) return ENOENT;
  return clock_.open(static_cast<std::uint32_t>(type), event->second, cpu);
}

const pwr::EntityHandle* CStateCounters::unitOf(const CpuEntities::Cpu& cpu) const {
  const pwr::EntityHandle* entity = cpu.entity;
  while (entity != nullptr && entity->getLevel() != level_) entity = entity->getParent();
  return entity;
}

int CStateCounters::openUnits(const SysRoot& root, const CpuEntities& cpus, std::uint32_t type,
                              const CpuEvents& events) {
  std::vector<unsigned int> counting;
  parseCpuList(root.readLine(kEventSources + source_ + "/cpumask"), counting);
  for (const CpuEntities::Cpu& cpu : cpus.cpus()) {
    const pwr::EntityHandle* const entity = unitOf(cpu);
    // Where each die has counters of its own, those of the first one stand for the package.
    const bool isKnown = std::ranges::count(counters_, entity, &Unit::entity) > 0;
    if (!std::ranges::binary_search(counting, cpu.number) || entity == nullptr || isKnown) continue;
    Unit unit{.entity = entity, .states = {}, .present = {}};
    for (const auto& [name, config] : events) {
      State state;
      const int error = state.counter.open(type, config, cpu.number);
      if (error != 0) return error;
      unit.states.push_back(std::move(state));
    }
    unit.present.resize(unit.states.size());
    counters_.push_back(std::move(unit));
  }
  return counters_.empty() ? ENOENT : openClock(root, counting.front());
}

int CStateCounters::open(const SysRoot& root, const CpuEntities& cpus) {
  unsigned long long type = 0;
  const CpuEvents events = readEvents(root, source_);
  if (events.empty() || root.readNumber(kEventSources + source_ + "/type", type) != 0)
    return ENOENT;
  for (const auto& [name, config] : events) names_.push_back(stateName(name));
  const int error = openUnits(root, cpus, static_cast<std::uint32_t>(type), events);
  if (error != 0) counters_.clear();
  return error;
}

pwr::MetricDescription CStateCounters::describe() {
  TimeTable::Descriptors states;
  for (const std::string& name : names_) {
    states.push_back(pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name, "")));
  }
  for (Unit& unit : counters_) unit.row = times_.add(unit.entity, states);
  return times_.describe(level_);
}

/// Brings the unit's ticks up to date. Returns false when a counter cannot be read.
bool CStateCounters::read(Unit& unit, double ticksPerCount) {
  for (std::size_t i = 0; i < unit.states.size(); ++i) {
    State& state = unit.states[i];
    unsigned long long count = 0;
    if (!state.counter.read(count)) return false;
    const double growth = static_cast<double>(count - std::min(count, state.before));
    state.ticks += static_cast<unsigned long long>(growth * ticksPerCount);
    state.before = count;
    unit.present[i] = state.ticks;
  }
  return true;
}

void CStateCounters::sample(unsigned long long now, const pwr::MetricDescription* metric,
                            SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  unsigned long long clock = clockBefore_;
  const bool isRead = clock_.read(clock);
  const unsigned long long growth = clock - std::exchange(clockBefore_, clock);
  const double ticksPerCount =
      complete && growth > 0 ? static_cast<double>(interval_.length()) / static_cast<double>(growth)
                             : 0.0;
  for (Unit& unit : counters_) {
    if (read(unit, ticksPerCount) && isRead && (growth > 0 || !complete)) {
      times_.note(unit.row, unit.present);
    }
  }
  times_.emit(metric, complete, interval_, batch);
}

}  // namespace tavrin
