#include "tavrin/collect/ProcessPoll.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <iterator>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "tavrin/common/Refusals.h"
#include "writers/host/Process.h"

namespace tavrin {

namespace {

/// Processes whose file stays open; of others it is opened when they are busy.
constexpr std::size_t kMostOpen = 512;
/// So long has a process to be busy before it is looked at again.
constexpr unsigned long long kFirstLook = 10'000'000;
/// A process that has not run for so long rests, for so long: a little less than half a second, as
/// passes are not quite regular.
constexpr unsigned long long kIdle = kTicksPerSecond;
constexpr unsigned long long kRest = kTicksPerSecond / 100 * 45;
/// For so long the times of one that runs on are not read.
constexpr unsigned long long kMostUnread = kTicksPerSecond;
/// When a process that cannot be read is asked.
constexpr unsigned long long kForever = ~0ULL;
/// How much of the machine's work may be of processes that rest. Two units of /proc/stat.
constexpr unsigned long long kMostMissing = 20 * kTicksPerMillisecond;

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
  // The first process never ends: who cannot see it sees only his own ones (hidepid).
  if (pids_.front() != 1) Refusals::note(root.path("/proc/1"), EACCES);
  for (const int pid : pids_) meet(pid);
  using Type = pwr::AttributeType;
  for (const auto& [name, type] : {std::pair{std::string(pwr::kProcessAttribute), Type::String},
                                   {std::string(pwr::kPidAttribute), Type::Int},
                                   {std::string(pwr::kTidAttribute), Type::Int}}) {
    attributes_.push_back(pwr::Attribute::create(name, nullptr, type));
    expected_.addAttribute(attributes_.back());
  }
  return {};
}

/// Looks for the first time at the process that has the number; null when it is gone. One that
/// cannot be read is left alone from then on.
PolledProcess* ProcessPoll::meet(int pid) {
  auto process = std::make_unique<PolledProcess>();
  process->pid = pid;
  const std::optional<ProcessStat> stat = files_->stat(pid);
  if (!stat && files_->isGone(pid)) return nullptr;
  process->isReadable = stat.has_value();
  if (stat) {
    process->stat = *stat;
    process->first = process->last = files_->status(pid);
    process->before = process->after = files_->schedTimes(pid);
    process->lookAt = kFirstLook;
  }
  Known known{pid, stat ? 0 : kForever, std::move(process)};
  return processes_.insert(placeOf(pid), std::move(known))->process.get();
}

/// Kernel threads have none.
std::string ProcessPoll::programOf(int pid, const ProcessStat& stat) const {
  return stat.isKernelThread ? std::string() : files_->program(pid);
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
  process.ran = *now_;
  process.lookAt = std::max(process.lookAt, 2 * process.cpu);
  unsigned long long start = startOf(process.stat);
  // It was not there at the pass before.
  if (!isFirst_) start = std::max(start, interval_.start());
  lives_->started(process.pid, process.stat.parent, start, programOf(process.pid, process.stat),
                  process.stat.name);
  if (process.stat.threads > 1) tellThreads(process);
}

/// Takes in a process that was not there at the last pass: what it has used, it has used since.
void ProcessPoll::join(int pid) {
  PolledProcess* const met = meet(pid);
  if (met == nullptr || !met->isReadable) return;
  PolledProcess& process = *met;
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
  const bool hasList = isListed();
  if (hasList) endUnlisted();
  if (isFirst_) {
    for (Known& known : processes_) begin(*known.process);
  } else {
    ask(false);
  }
  for (std::size_t i = 0; hasList && i < pids_.size(); ++i) {
    if (!isKnown(pids_[i])) join(pids_[i]);
  }
  if (isMuchMissing() || isLast_) ask(true);
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

void ProcessPoll::endUnlisted() {
  std::erase_if(processes_, [this](Known& known) {
    const bool isListed = std::ranges::binary_search(pids_, known.pid);
    if (!isListed) end(*known.process);
    return !isListed;
  });
}

/// Asks those that rest, or all others, what they have used. The number of one that has ended may
/// have been given again.
void ProcessPoll::ask(bool isOfResting) {
  ended_.clear();
  std::erase_if(processes_, [&](Known& known) {
    const bool isResting = *now_ < known.restsUntil;
    if (isResting != isOfResting || known.restsUntil == kForever || update(known)) return false;
    end(*known.process);
    ended_.push_back(known.pid);
    return true;
  });
  for (const int pid : ended_) join(pid);
}

/// Whether the machine has worked for notably more time than was found with the processes.
bool ProcessPoll::isMuchMissing() {
  const unsigned long long worked = stat_->workedAt(*now_);
  const unsigned long long before = std::exchange(worked_, worked);
  if (isFirst_ || worked < before) return false;
  missing_ += worked - before;
  missing_ -= std::min(missing_, spent_);
  if (missing_ <= kMostMissing) return false;
  missing_ = 0;
  return true;
}

/// False when the process has ended, whoever may have its number now.
bool ProcessPoll::update(Known& known) {
  PolledProcess& process = *known.process;
  const std::optional<unsigned long long> cpu = files_->cpuTime(process.pid);
  if (!cpu) return false;
  if (*cpu == process.cpu) {
    if (*now_ - process.ran >= kIdle) known.restsUntil = *now_ + kRest;
    return true;
  }
  if (!isStill(process)) return false;
  const unsigned long long before = std::exchange(process.cpu, *cpu);
  if (*cpu > before) noteSpent(process, *cpu - before);
  return true;
}

/// Whether the number is still that of the process: it is while none has been started.
bool ProcessPoll::isStill(PolledProcess& process) {
  const bool isSure = forks_ && process.checkedForks == forks_;
  if (isSure && *now_ - process.checked < kMostUnread) return true;
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
  process.checked = *now_;
  process.checkedForks = forks_;
  return true;
}

/// Notes a new name and a new program.
void ProcessPoll::learnIdentity(PolledProcess& process, const ProcessStat& stat) {
  lives_->execed(process.pid, *now_, programOf(process.pid, stat), stat.name);
  if (stat.name != process.stat.name) process.attributes.reset();
  process.stat = stat;
}

/// Looks at names and memory again.
void ProcessPoll::look(PolledProcess& process) {
  const std::optional<ProcessStat> stat = files_->stat(process.pid);
  if (!stat || stat->start != process.stat.start) return;
  learnIdentity(process, *stat);
  if (const auto times = files_->schedTimes(process.pid)) process.after = times;
  std::optional<ProcessStatus> status = files_->status(process.pid);
  if (!status) return;
  // One that has ended and is not waited for has no memory any more; what it had is known.
  if (status->peakKiB == 0 && process.last) status->peakKiB = process.last->peakKiB;
  process.last = status;
}

void ProcessPoll::noteSpent(PolledProcess& process, unsigned long long spent) {
  process.ran = *now_;
  process.spent = spent;
  process.used += spent;
  spent_ += spent;
  busy_.push_back(&process);
  if (process.cpu < process.lookAt) return;
  process.lookAt = 2 * process.cpu;
  look(process);
}

void ProcessPoll::end(PolledProcess& process) {
  if (process.sched) --openFiles_;
  if (!process.isReadable || isFirst_) return;
  lives_->ended(process.pid, *now_);
  ++left_;
  gone_.push_back(std::move(process));
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
  for (Known& known : processes_) {
    if (known.process->used == 0) continue;
    look(*known.process);
    tellThreads(*known.process);
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
