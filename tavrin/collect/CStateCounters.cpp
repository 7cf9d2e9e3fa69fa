#include "tavrin/collect/CStateCounters.h"

#include <linux/perf_event.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <utility>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/Rights.h"
#include "tavrin/common/Refusals.h"

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
  const int error = descriptor_ < 0 ? errno : 0;
  Refusals::note(kCpuCounters, error);
  return error;
}

bool CpuEventCounter::read(unsigned long long& count) const {
  std::uint64_t value = 0;
  if (::read(descriptor_, &value, sizeof value) != sizeof value) return false;
  count = value;
  return true;
}

int CStateCounters::openClock(unsigned int cpu) {
  unsigned long long type = 0;
  const CpuEvents events = readEvents(*root_, kClockSource);
  const auto event = std::ranges::find(events, kClockEvent, &CpuEvents::value_type::first);
  const std::string file = std::string(kEventSources) + kClockSource + "/type";
  if (event == events.end() || root_->readNumber(file, type) != 0) return ENOENT;
  clock_ = CpuEventCounter();
  clockCpu_ = cpu;
  return clock_.open(static_cast<std::uint32_t>(type), event->second, cpu);
}

const pwr::EntityHandle* CStateCounters::unitOf(const CpuEntities::Cpu& cpu) const {
  const pwr::EntityHandle* entity = cpu.entity;
  while (entity != nullptr && entity->getLevel() != level_) entity = entity->getParent();
  return entity;
}

/// Opens the unit's counters, where it has some already anew.
int CStateCounters::openUnit(Unit& unit) {
  unit.states.clear();
  for (const auto& [name, config] : events_) {
    State state;
    const int error = state.counter.open(type_, config, unit.cpu);
    if (error != 0) {
      unit.states.clear();
      return error;
    }
    unit.states.push_back(std::move(state));
  }
  unit.present.resize(unit.states.size());
  return 0;
}

/// Opens the counters of units that have none. Returns 0, or the errno of a failure, which is their
/// gap.
int CStateCounters::openUnits(const CpuEntities& cpus) {
  int failure = 0;
  std::vector<unsigned int> counting;
  parseCpuList(root_->readLine(kEventSources + source_ + "/cpumask"), counting);
  for (const CpuEntities::Cpu& cpu : cpus.cpus()) {
    const pwr::EntityHandle* const entity = unitOf(cpu);
    if (!std::ranges::binary_search(counting, cpu.number) || entity == nullptr) continue;
    auto unit = std::ranges::find(counters_, entity, &Unit::entity);
    if (unit == counters_.end()) {
      counters_.push_back({.entity = entity});
      unit = counters_.end() - 1;
      if (!states_.empty()) addRow(*unit);
    } else if (!unit->states.empty()) {
      // Where each die has counters of its own, those of the first one stand for the package.
      continue;
    }
    unit->cpu = cpu.number;
    const int error = openUnit(*unit);
    if (error != 0) failure = error;
  }
  return failure;
}

int CStateCounters::open(const SysRoot& root, const CpuEntities& cpus) {
  root_ = &root;
  unsigned long long type = 0;
  events_ = readEvents(root, source_);
  if (events_.empty() || root.readNumber(kEventSources + source_ + "/type", type) != 0)
    return ENOENT;
  type_ = static_cast<std::uint32_t>(type);
  int error = openUnits(cpus);
  if (error == 0) error = counters_.empty() ? ENOENT : openClock(counters_.front().cpu);
  if (error != 0) counters_.clear();
  return error;
}

/// The kernel stops counters of a CPU that goes offline, or moves them to another one. Neither is
/// relied on.
void CStateCounters::closeOffline(const OnlineCpus& online) {
  for (Unit& unit : counters_) {
    if (!online.contains(unit.cpu)) unit.states.clear();
  }
}

/// Returns false when the clock has begun anew, on another CPU.
bool CStateCounters::followClock(const OnlineCpus& online) {
  if (online.contains(clockCpu_)) return true;
  openClock(online.cpus().front());
  clock_.read(clockBefore_);
  return false;
}

pwr::MetricDescription CStateCounters::describe() {
  for (const auto& [name, config] : events_) {
    states_.push_back(pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(stateName(name), "")));
  }
  for (Unit& unit : counters_) addRow(unit);
  return times_.describe(level_);
}

void CStateCounters::addRow(Unit& unit) {
  unit.row = times_.add(unit.entity, states_);
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

void CStateCounters::sample(unsigned long long now, const CpuEntities& cpus,
                            const pwr::MetricDescription* metric, SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  closeOffline(cpus.online());
  if (cpus.hasNews()) openUnits(cpus);
  const bool clockLasts = followClock(cpus.online());
  unsigned long long clock = clockBefore_;
  const bool isRead = clock_.read(clock);
  const unsigned long long growth = clockLasts ? clock - clockBefore_ : 0;
  clockBefore_ = clock;
  const double ticksPerCount =
      complete && growth > 0 ? static_cast<double>(interval_.length()) / static_cast<double>(growth)
                             : 0.0;
  for (Unit& unit : counters_) {
    if (unit.states.empty()) continue;
    if (read(unit, ticksPerCount) && isRead && (growth > 0 || !complete)) {
      times_.note(unit.row, unit.present);
    }
  }
  times_.emit(metric, complete, interval_, batch);
}

}  // namespace tavrin
