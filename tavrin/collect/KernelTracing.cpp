#include "tavrin/collect/KernelTracing.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "tavrin/collect/Interval.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/Messages.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

constexpr std::string_view kCpuFolders = "/sys/devices/system/cpu/";
constexpr const char* kTracedPolicies = "/sys/devices/system/cpu/cpufreq";
/// Events that are written while they are looked for are taken the next time.
constexpr unsigned long long kSettlingTicks = kTicksPerSecond / 100;
/// The files of a CPU that comes online follow within this time.
constexpr unsigned long long kComingTicks = 2 * kTicksPerSecond;
/// At a time, so that samples do not wait for long.
constexpr std::size_t kMostAtOnce = 20000;

std::vector<std::string> idleStateNames(const SysRoot& root, unsigned int cpu) {
  const std::string folder =
      std::string(kCpuFolders).append("cpu").append(std::to_string(cpu)).append("/cpuidle/");
  std::vector<std::string> names;
  for (const unsigned int number : root.listNumbered(folder, "state")) {
    const std::string id = "state" + std::to_string(number);
    names.resize(number);
    std::string name = root.readLine(std::string(folder).append(id).append("/name"));
    if (name.empty()) name = id;
    if (std::ranges::count(names, name) > 0) name.append(" (").append(id).append(")");
    names.push_back(std::move(name));
  }
  return names;
}

std::vector<double> availableFrequencies(const SysRoot& root) {
  std::set<unsigned long long> kilohertz;
  for (const unsigned int policy : root.listNumbered(kTracedPolicies, "policy")) {
    std::string text;
    root.readText(
        kTracedPolicies + ("/policy" + std::to_string(policy)) + "/scaling_available_frequencies",
        text);
    std::string_view rest = text;
    for (unsigned long long number = 0; takeNumber(rest, number);) kilohertz.insert(number);
  }
  std::vector<double> megahertz;
  megahertz.reserve(kilohertz.size());
  for (const unsigned long long number : kilohertz) {
    megahertz.push_back(static_cast<double>(number) / 1000.0);
  }
  return megahertz;
}

/// The process of a thread that lives.
std::optional<int> processOfThread(int task) {
  const SysRoot root;
  std::string status;
  root.readText("/proc/" + std::to_string(task) + "/status", status);
  constexpr std::string_view kKey = "\nTgid:\t";
  const std::size_t line = status.find(kKey);
  if (line == std::string::npos) return std::nullopt;
  std::string_view rest = std::string_view(status).substr(line + kKey.size());
  int process = 0;
  return takeNumber(rest, process) ? std::optional(process) : std::nullopt;
}

EventFacts factsOf(const SysRoot& root, const CpuEntities& cpus) {
  EventFacts facts{.frequencies = availableFrequencies(root), .processOf = processOfThread};
  for (const CpuEntities::Cpu& cpu : cpus.cpus()) {
    facts.cpus[cpu.number] = cpu.entity;
    facts.idleStates[cpu.number] = idleStateNames(root, cpu.number);
  }
  return facts;
}

/// What the kernel's events would be about is not there.
std::string whyNothingHappens(EventGroup group, const SysRoot& root, const CpuEntities& cpus) {
  const auto hasNoStates = [&](const CpuEntities::Cpu& cpu) {
    return idleStateNames(root, cpu.number).empty();
  };
  if (group == EventGroup::Idle && std::ranges::all_of(cpus.cpus(), hasNoStates)) {
    return "no sleep states (cpuidle) below /sys/devices/system/cpu";
  }
  if (group == EventGroup::Frequency && root.listNumbered(kTracedPolicies, "policy").empty()) {
    return std::string("no frequency policies below ") + kTracedPolicies;
  }
  return {};
}

}  // namespace

std::string KernelTracing::probe(EventGroup group, const SysRoot& root, CpuEntities& cpus,
                                 unsigned int containerId, const std::string& tag,
                                 std::vector<const pwr::MetricDescription*>& metrics) {
  if (!root.isThisMachine()) return "only the running kernel can be traced (not with --sysroot)";
  std::string reason = whyNothingHappens(group, root, cpus);
  if (reason.empty()) reason = TraceSource::whyAbsent(group);
  if (!reason.empty()) return reason;
  root_ = &root;
  cpus_ = &cpus;
  for (const CpuEntities::Cpu& cpu : cpus.cpus()) followed_[cpu.number] = 0;
  if (metrics_ == nullptr) {
    EventFacts facts = factsOf(root, cpus);
    facts.processes = lives_.get();
    metrics_ = std::make_unique<EventMetrics>(std::move(facts));
  }
  metrics = metrics_->describe(group, containerId, tag);
  groups_.push_back(group);
  return {};
}

void KernelTracing::start() {
  source_ = std::make_unique<TraceSource>();
  source_->open(groups_);
  online_.emplace(SysRoot());
  for (const unsigned int cpu : online_->cpus()) {
    const int error = source_->addCpu(cpu);
    if (error == 0) continue;
    throw CommandError(kExitIncomplete, "cannot trace the kernel: cannot open the buffer of CPU" +
                                            std::to_string(cpu) + ": " + std::strerror(error));
  }
  source_->begin();
}

bool KernelTracing::take(unsigned long long time, std::size_t most, pwr::MessageSink& sink) {
  return source_->take(time, most, [&](const KernelEvent& event) {
    const bool isLoss = std::holds_alternative<LostEvents>(event.what);
    if (isLoss || (event.time >= startTicks_ && event.time <= stopTicks_)) {
      metrics_->add(event, sink);
    }
  });
}

/// Takes the events of CPUs that have come online, from now on as all others in the order of time,
/// and lets them have the entities and the names of states that the sampled features use.
void KernelTracing::followCpus(unsigned long long now) {
  online_->read();
  for (const unsigned int cpu : online_->cpus()) {
    const auto [place, isNew] = followed_.try_emplace(cpu, now + kComingTicks);
    const int error = isNew ? source_->addCpu(cpu) : 0;
    if (error != 0) {
      warn("cannot take the kernel's events of CPU" + std::to_string(cpu) + ": " +
           std::strerror(error));
    }
    if (now >= place->second) continue;
    metrics_->addCpu(cpu, cpus_->entityOf(cpu), idleStateNames(*root_, cpu));
  }
}

/// They sleep without an event that says so.
void KernelTracing::forgetOfflineCpus(unsigned long long time, pwr::MessageSink& sink) {
  for (const auto& [cpu, until] : followed_) {
    if (!online_->contains(cpu)) metrics_->forgetCpu(cpu, time, sink);
  }
}

bool KernelTracing::deliver(unsigned long long nowTicks, pwr::MessageSink& sink) {
  followCpus(nowTicks);
  const unsigned long long settled = nowTicks - kSettlingTicks;
  if (take(settled, kMostAtOnce, sink)) return true;
  forgetOfflineCpus(settled, sink);
  return false;
}

void KernelTracing::stop(unsigned long long stopTicks) {
  if (stopTicks_ != kNotStopped) return;
  stopTicks_ = stopTicks;
  source_->end();
}

void KernelTracing::finish(pwr::MessageSink& sink) {
  followCpus(stopTicks_);
  take(~0ULL, ~std::size_t{0}, sink);
  metrics_->finish(stopTicks_, sink);
  counts_ = source_->counts();
  source_.reset();
}

unsigned long long KernelTracing::taken() const {
  unsigned long long taken = 0;
  for (const TraceSource::Counts& counts : counts_) taken += counts.taken;
  return taken;
}

unsigned long long KernelTracing::lost() const {
  unsigned long long lost = 0;
  for (const TraceSource::Counts& counts : counts_) lost += counts.lost;
  return lost;
}

pwr::LostEvents KernelTracing::lostEvents() const {
  std::string where;
  for (const TraceSource::Counts& counts : counts_) {
    if (counts.lost == 0) continue;
    where.append(where.empty() ? "CPU" : ", CPU").append(std::to_string(counts.cpu));
    where.append(": ").append(std::to_string(counts.lost));
  }
  return {"the kernel's trace buffers (" + where + ")", lost()};
}

void KernelTracing::describe(EventGroup group, pwr::SystemDescription& system) const {
  if (group == EventGroup::Process) lives_->describe(system);
  if (group == groups_.front() && lost() > 0) system.lostEvents.push_back(lostEvents());
}

}  // namespace tavrin
