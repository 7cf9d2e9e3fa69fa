#include "tavrin/collect/ProcessPoll.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <iterator>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "writers/host/Process.h"

namespace tavrin {

namespace {

/// Processes whose file stays open; of others it is opened when they are busy.
constexpr std::size_t kMostOpen = 512;
/// So long has a process to be busy before it is looked at again.
constexpr unsigned long long kFirstLook = 10'000'000;

/// Nanoseconds since the machine was started, times of suspension included.
unsigned long long sinceBoot() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<unsigned long long>(now.tv_sec) * kTicksPerSecond +
         static_cast<unsigned long long>(now.tv_nsec);
}

}  // namespace

std::string ProcessPoll::open(const SysRoot& root) {
  if (files_) return {};
  files_.emplace(root);
  stat_->open(root);
  isThisMachine_ = root.isThisMachine();
  const long perSecond = sysconf(_SC_CLK_TCK);
  ticksPerClockTick_ = kTicksPerSecond / static_cast<unsigned long long>(std::max(perSecond, 1L));
  const int error = files_->list(pids_);
  const bool isTold =
      std::ranges::any_of(pids_, [&](int pid) { return files_->cpuTime(pid).has_value(); });
  if (!isTold) {
    files_.reset();
    if (error != 0) return "/proc cannot be read: " + std::generic_category().message(error);
    return "no processes with a schedstat below /proc";
  }
  for (const int pid : pids_) meet(pid);
  using Type = pwr::AttributeType;
  for (const auto& [name, type] : {std::pair{std::string("Process"), Type::String},
                                   {std::string(pwr::kPidAttribute), Type::Int},
                                   {std::string(pwr::kTidAttribute), Type::Int}}) {
    attributes_.push_back(pwr::Attribute::create(name, nullptr, type));
    expected_.addAttribute(attributes_.back());
  }
  return {};
}

/// Looks for the first time at the process that has the number. One that cannot be read is left
/// alone from then on.
PolledProcess& ProcessPoll::meet(int pid) {
  PolledProcess& process = processes_[pid];
  if (process.pid != 0) return process;
  process.pid = pid;
  const std::optional<ProcessStat> stat = files_->stat(pid);
  process.isReadable = stat.has_value();
  if (!stat) return process;
  process.stat = *stat;
  process.first = process.last = files_->status(pid);
  process.before = process.after = files_->schedTimes(pid);
  process.lookAt = kFirstLook;
  return process;
}

/// In ticks of the run's clock. The kernel tells the time since the machine was started, in clock
/// ticks, and by a clock that the run's one drifts away from: only the age is taken from it.
unsigned long long ProcessPoll::startOf(const ProcessStat& stat) const {
  const unsigned long long start = stat.start * ticksPerClockTick_;
  const unsigned long long now = now_.value_or(0);
  if (!isThisMachine_) return std::min(start, now);
  const unsigned long long present = sinceBoot();
  const unsigned long long age = present > start ? present - start : 0;
  return now > age ? now - age : 0;
}

/// Tells of a process that was met, as of now.
void ProcessPoll::begin(PolledProcess& process) {
  if (!process.isReadable) return;
  process.cpu = files_->cpuTime(process.pid).value_or(0);
  process.lookAt = std::max(process.lookAt, 2 * process.cpu);
  unsigned long long start = startOf(process.stat);
  // It was not there at the pass before.
  if (!isFirst_) start = std::max(start, interval_.start());
  lives_->started(process.pid, process.stat.parent, start, files_->program(process.pid),
                  process.stat.name);
  if (process.stat.threads > 1) tellThreads(process);
}

/// Takes in a process that was not there at the last pass: what it has used, it has used since.
void ProcessPoll::join(int pid) {
  PolledProcess& process = meet(pid);
  if (!process.isReadable) return;
  const bool isYoung = startOf(process.stat) + ticksPerClockTick_ >= interval_.start();
  begin(process);
  if (isFirst_ || !isYoung) return;
  ++joined_;
  process.before = SchedTimes();
  process.first = ProcessStatus();
  if (process.cpu > 0) noteSpent(process, process.cpu);
}

void ProcessPoll::pollAt(unsigned long long now) {
  if (now_ == now) return;
  isFirst_ = !now_;
  now_ = now;
  busy_.clear();
  gone_.clear();
  spent_ = 0;
  if (!interval_.advance(now) && !isFirst_) return;
  if (isListed()) {
    mergeList();
  } else {
    updateKnown();
  }
  std::ranges::sort(busy_, [](const PolledProcess* a, const PolledProcess* b) {
    return a->spent != b->spent ? a->spent > b->spent : a->pid < b->pid;
  });
}

/// Gets the list anew. False where that is not needed, as nothing was started, or not possible.
bool ProcessPoll::isListed() {
  const std::optional<unsigned long long> forks = stat_->forksAt(*now_);
  if (!isFirst_ && forks && forks == forks_) return false;
  const bool isListed = files_->list(pids_) == 0;
  forks_ = isListed ? forks : std::nullopt;
  return isListed;
}

/// Whoever is gone has no time any more.
void ProcessPoll::updateKnown() {
  for (Place known = processes_.begin(); known != processes_.end();) {
    const Place same = known++;
    if (!update(same->second)) end(same);
  }
}

/// Goes through the numbers that are there and the processes that were, both ascending.
void ProcessPoll::mergeList() {
  Place known = processes_.begin();
  for (const int pid : pids_) {
    while (known != processes_.end() && known->first < pid) known = end(known);
    if (known != processes_.end() && known->first == pid) {
      const Place same = known++;
      if (isFirst_) begin(same->second);
      if (isFirst_ || update(same->second)) continue;
      end(same);
    }
    join(pid);
  }
  while (known != processes_.end()) known = end(known);
}

/// False when the process has ended, whoever may have its number now.
bool ProcessPoll::update(PolledProcess& process) {
  process.spent = 0;
  if (!process.isReadable) return true;
  const std::optional<unsigned long long> cpu = files_->cpuTime(process.pid);
  if (!cpu) return false;
  if (*cpu == process.cpu) return true;
  if (!isStill(process)) return false;
  const unsigned long long before = std::exchange(process.cpu, *cpu);
  if (*cpu > before) noteSpent(process, *cpu - before);
  return true;
}

/// Whether the number is still that of the process.
bool ProcessPoll::isStill(PolledProcess& process) {
  const bool wasOpen = process.sched.has_value();
  if (!wasOpen) process.sched.emplace(files_->schedstat(process.pid));
  std::string_view text;
  const bool isRead = process.sched->readText(text) == 0;
  const std::optional<SchedTimes> times = isRead ? SchedTimes::parse(text) : std::nullopt;
  if (wasOpen) {
    if (!isRead) return false;
  } else {
    // Whose file it is that was opened.
    const std::optional<ProcessStat> stat = files_->stat(process.pid);
    if (!stat || stat->start != process.stat.start) return false;
    learnIdentity(process, *stat);
    if (isRead && openFiles_ < kMostOpen) {
      ++openFiles_;
    } else {
      process.sched.reset();
    }
  }
  if (times) process.after = times;
  return true;
}

/// Notes a new name and a new program.
void ProcessPoll::learnIdentity(PolledProcess& process, const ProcessStat& stat) {
  lives_->execed(process.pid, *now_, files_->program(process.pid), stat.name);
  if (stat.name != process.stat.name) process.attributes.reset();
  process.stat = stat;
}

/// Looks at names and memory again.
void ProcessPoll::look(PolledProcess& process) {
  const std::optional<ProcessStat> stat = files_->stat(process.pid);
  if (!stat || stat->start != process.stat.start) return;
  learnIdentity(process, *stat);
  std::optional<ProcessStatus> status = files_->status(process.pid);
  if (!status) return;
  // One that has ended and is not waited for has no memory any more; what it had is known.
  if (status->peakKiB == 0 && process.last) status->peakKiB = process.last->peakKiB;
  process.last = status;
}

void ProcessPoll::noteSpent(PolledProcess& process, unsigned long long spent) {
  process.spent = spent;
  process.used += spent;
  spent_ += spent;
  busy_.push_back(&process);
  if (process.cpu < process.lookAt) return;
  process.lookAt = 2 * process.cpu;
  look(process);
}

ProcessPoll::Place ProcessPoll::end(Place place) {
  PolledProcess& process = place->second;
  if (process.sched) --openFiles_;
  if (process.isReadable && !isFirst_) {
    lives_->ended(process.pid, *now_);
    ++left_;
    gone_.push_back(std::move(process));
  }
  return processes_.erase(place);
}

void ProcessPoll::tellThreads(const PolledProcess& process) {
  std::set<int> present;
  for (const int tid : files_->threadsOf(process.pid)) {
    const std::optional<ProcessStat> stat = files_->stat(process.pid, tid);
    if (!stat) continue;
    present.insert(tid);
    if (tid == process.pid) continue;
    lives_->threadStarted(process.pid, tid, startOf(*stat), stat->name);
  }
  for (const int tid : lives_->livingThreadsOf(process.pid)) {
    if (tid != process.pid && !present.contains(tid)) lives_->threadEnded(tid, *now_);
  }
}

void ProcessPoll::finish() {
  for (auto& [pid, process] : processes_) {
    if (process.used == 0) continue;
    look(process);
    tellThreads(process);
  }
}

const std::shared_ptr<const pwr::AttributeValueManager>& ProcessPoll::attributesOf(
    PolledProcess& process) {
  if (process.attributes == nullptr) {
    auto values = std::make_shared<pwr::AttributeValueManager>();
    values->addAttributeValue(attributes_[0], pwr::Data(process.stat.name));
    values->addAttributeValue(attributes_[1], pwr::Data(process.pid));
    values->addAttributeValue(attributes_[2], pwr::Data(process.pid));
    process.attributes = std::move(values);
  }
  return process.attributes;
}

std::shared_ptr<const pwr::AttributeValueManager> ProcessPoll::attributesNamed(
    const std::string& name) const {
  auto values = std::make_shared<pwr::AttributeValueManager>();
  values->addAttributeValue(attributes_[0], pwr::Data(name));
  return values;
}

}  // namespace tavrin
