#include "writers/timeline/ProcessInfos.h"

#include <string>
#include <string_view>
#include <vector>

#include "formats/pwr_format.h"
#include "writers/host/UniqueId.h"

using pwrfile::kNone;
namespace info_type = pwrfile::info_type;

namespace {

/// An end of 0: it still runs.
Lifetime lifetimeFrom(std::uint64_t start, std::uint64_t toldEnd) {
  Lifetime life{.start = start};
  if (toldEnd != 0) life.end = std::max(start, toldEnd);
  return life;
}

std::string lifetimeText(std::uint64_t start, std::uint64_t toldEnd) {
  return "start " + std::to_string(start) + " end " + std::to_string(toldEnd);
}

/// The texts of a process. Times are told in full, so that it is the path that gives way: its last
/// part, or the name, loses its end, and the path as a whole its start.
InfoTexts processTexts(std::string_view path, std::string_view name, std::string_view lifetime,
                       std::string& shortened) {
  constexpr std::string_view kCut = "...";
  std::size_t room =
      pwrfile::info_record::kMaxNames - 1 - info_type::kProcess.size() - lifetime.size();
  if (name.empty()) name = path.substr(path.find_last_of("/\\") + 1);
  const std::string_view shortName = cutToFit(name, room / 2);
  room -= shortName.size();
  if (path.size() <= room) return {path, shortName, lifetime};
  shortened.assign(kCut).append(endThatFits(path, room - kCut.size()));
  return {shortened, shortName, lifetime};
}

}  // namespace

void ProcessInfos::setLifetimes(const pwr::SystemMetadata& metadata) {
  for (const pwr::Process& process : metadata.getProcesses()) addLives_i(process);
  for (auto& [pid, lives] : processes_) sortLives(lives);
  for (auto& [pid, lives] : processes_) {
    for (ProcessLife& life : lives) life.parent = parentOf_i(life);
  }
  for (const pwr::Thread& thread : metadata.getThreads()) {
    const ProcessLife& process = processAt_i(thread.getPid(), thread.getStartTime());
    threads_[{thread.getTid(), thread.getPid()}].push_back(
        {lifetimeFrom(thread.getStartTime(), thread.getEndTime()), 0, &thread, &process});
  }
  for (auto& [number, lives] : threads_) sortLives(lives);
}

/// A life for each program that the process ran.
void ProcessInfos::addLives_i(const pwr::Process& process) {
  Lives<ProcessLife>& lives = processes_[process.getPid()];
  std::uint64_t start = process.getStartTime();
  const auto add = [&](const std::string& path, const std::string& name, std::uint64_t end) {
    lives.push_back({lifetimeFrom(start, end), process.getPid(), 0, &process, path, name, end});
    start = std::max(start, end);
  };
  for (const pwr::ProcessImage& image : process.getEarlierImages()) {
    add(image.path, image.name, std::max<std::uint64_t>(start, image.endTime));
  }
  add(process.getPath(), process.getName(), process.getEndTime());
}

/// The process that had the number then, described or not.
ProcessInfos::ProcessLife& ProcessInfos::processAt_i(long long pid, std::uint64_t tsc) {
  Lives<ProcessLife>& lives = processes_[pid];
  if (lives.empty()) lives.push_back({{}, pid});
  return livingAt(lives, tsc);
}

/// Null for none. The number 0 is no process, unless the host describes it.
ProcessInfos::ProcessLife* ProcessInfos::parentOf_i(const ProcessLife& process) {
  if (process.described == nullptr) return nullptr;
  const int pid = process.described->getParentPid();
  return pid > 0 || processes_.contains(pid) ? &processAt_i(pid, process.described->getStartTime())
                                             : nullptr;
}

void ProcessInfos::addOwner(const EventOwner& owner, std::uint64_t tsc) {
  if (owner.pid) {
    const ProcessLife& process = processAt_i(*owner.pid, tsc);
    if (owner.tid) addThread_i(*owner.pid, *owner.tid, process);
  } else if (owner.tid) {
    threadsOfNumber_.try_emplace(*owner.tid);
  }
}

/// A thread that the host does not describe is one for each process that it was seen in.
void ProcessInfos::addThread_i(long long pid, long long tid, const ProcessLife& process) {
  Lives<ThreadLife>& lives = threads_[{tid, pid}];
  if (!lives.empty() && lives.front().described != nullptr) return;
  const auto place = std::ranges::lower_bound(lives, process.start, {}, &Lifetime::start);
  if (place != lives.end() && place->process == &process) return;
  lives.insert(place, {process, 0, nullptr, &process});
}

int ProcessInfos::write() {
  for (auto& [pid, lives] : processes_) {
    for (ProcessLife& life : lives) {
      if (writeParentsFirst_i(life) != 0) return 1;
    }
  }
  findThreadsOfNumbers_i();
  for (auto& [number, lives] : threads_) {
    for (ThreadLife& life : lives) {
      if (writeThread_i(number.first, life) != 0) return 1;
    }
  }
  return 0;
}

void ProcessInfos::findThreadsOfNumbers_i() {
  for (auto& [tid, lives] : threadsOfNumber_) {
    const ThreadKey unowned{tid, std::nullopt};
    for (auto place = threads_.lower_bound(unowned);
         place != threads_.end() && place->first.first == tid; ++place) {
      for (const ThreadLife& life : place->second) lives.push_back(&life);
    }
    if (lives.empty()) lives.push_back(&threads_[unowned].emplace_back());
    std::ranges::stable_sort(lives, {}, [](const ThreadLife* life) { return life->start; });
  }
}

/// A host may describe processes that are each other's ancestors. One of them is written without a
/// parent then.
int ProcessInfos::writeParentsFirst_i(ProcessLife& process) {
  std::vector<ProcessLife*> chain;
  for (ProcessLife* next = &process; next != nullptr && !next->isReached; next = next->parent) {
    next->isReached = true;
    chain.push_back(next);
  }
  for (; !chain.empty(); chain.pop_back()) {
    if (writeProcess_i(*chain.back()) != 0) return 1;
  }
  return 0;
}

int ProcessInfos::writeProcess_i(ProcessLife& process) {
  std::string path(process.path.empty() ? process.name : process.path);
  if (path.empty()) path = "Process " + std::to_string(process.pid);
  const std::string lifetime =
      process.described == nullptr ? "" : lifetimeText(process.start, process.toldEnd);
  std::string shortened;
  const bool hasParent = process.parent != nullptr && process.parent->isWritten;
  process.id = pwr::UniqueId().getId();
  process.isWritten = true;
  return infos_.writeNew(info_type::kProcess, processTexts(path, process.name, lifetime, shortened),
                         static_cast<std::uint64_t>(process.pid), process.id,
                         hasParent ? process.parent->id : kNone);
}

int ProcessInfos::writeThread_i(long long tid, ThreadLife& thread) {
  const std::string number = std::to_string(tid);
  const pwr::Thread* const described = thread.described;
  const bool hasName = described != nullptr && !described->getName().empty();
  const std::string name = hasName ? described->getName() : "Thread " + number;
  const std::string lifetime =
      described == nullptr ? "" : lifetimeText(described->getStartTime(), described->getEndTime());
  thread.id = pwr::UniqueId().getId();
  return infos_.writeNew(info_type::kThread, {name, number, lifetime},
                         static_cast<std::uint64_t>(tid), thread.id,
                         thread.process != nullptr ? thread.process->id : kNone);
}

OwnerIds ProcessInfos::idsOf(const EventOwner& owner, std::uint64_t tsc) const {
  OwnerIds ids;
  if (owner.pid) ids.process = livingAt(processes_.at(*owner.pid), tsc).id;
  if (!owner.tid) return ids;
  ids.thread = owner.pid ? livingAt(threads_.at({*owner.tid, owner.pid}), tsc).id
                         : livingAt(threadsOfNumber_.at(*owner.tid), tsc)->id;
  return ids;
}
