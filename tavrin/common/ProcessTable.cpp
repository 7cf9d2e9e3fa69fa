#include "tavrin/common/ProcessTable.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace tavrin {

namespace {

bool isSameStart(unsigned long long a, unsigned long long b) {
  return (a < b ? b - a : a - b) < ProcessTable::kSameStart;
}

void learn(std::string& known, const std::string& told) {
  if (known.empty()) known = told;
}

}  // namespace

/// The one that has the number since `time`, which may be known; null when that is too late to
/// tell. Who had the number before has to be ended first.
ProcessTable::Life* ProcessTable::begin(Lives& lives, int number, unsigned long long time) {
  const auto [place, isNew] = lives.living.try_emplace(number);
  Life& life = place->second;
  if (isNew) life.start = time;
  return isSameStart(life.start, time) ? &life : nullptr;
}

void ProcessTable::finish(Lives& lives, int number, unsigned long long time) {
  auto life = lives.living.extract(number);
  life.mapped().end = std::max(life.mapped().start, time);
  lives.ended.push_back(std::move(life.mapped()));
  if (lives.ended.size() <= mostEnded_) return;
  lives.ended.pop_front();
  ++forgotten_;
}

void ProcessTable::endThread(int tid, unsigned long long time) {
  const auto thread = threads_.living.find(tid);
  if (thread == threads_.living.end() || time < thread->second.start) return;
  const auto process = processes_.living.find(thread->second.pid);
  if (process != processes_.living.end()) process->second.threads.erase(tid);
  finish(threads_, tid, time);
}

void ProcessTable::endProcess(int pid, unsigned long long time) {
  const auto process = processes_.living.find(pid);
  if (process == processes_.living.end() || time < process->second.start) return;
  const std::set<int> threads = std::exchange(process->second.threads, {});
  for (const int tid : threads) finish(threads_, tid, time);
  finish(processes_, pid, time);
}

void ProcessTable::beginThread(int pid, int tid, unsigned long long time, const std::string& name) {
  const auto known = threads_.living.find(tid);
  const bool isAnother = known != threads_.living.end() &&
                         (known->second.pid != pid || !isSameStart(known->second.start, time));
  if (isAnother) endThread(tid, time);
  Life* const thread = begin(threads_, tid, time);
  if (thread == nullptr) return;
  // Whom it was told of before may have been a guess.
  const auto former = processes_.living.find(std::exchange(thread->pid, pid));
  if (former != processes_.living.end()) former->second.threads.erase(tid);
  thread->tid = tid;
  learn(thread->name, name);
  const auto process = processes_.living.find(pid);
  if (process != processes_.living.end()) process->second.threads.insert(tid);
}

void ProcessTable::started(int pid, int parentPid, unsigned long long time, const std::string& path,
                           const std::string& name) {
  const std::lock_guard lock(mutex_);
  const auto known = processes_.living.find(pid);
  if (known != processes_.living.end() && !isSameStart(known->second.start, time)) {
    endProcess(pid, time);
  }
  Life* const process = begin(processes_, pid, time);
  if (process == nullptr) return;
  process->pid = pid;
  if (process->parent == 0) process->parent = parentPid;
  learn(process->path, path);
  learn(process->name, name);
  beginThread(pid, pid, process->start, process->name);
}

void ProcessTable::execed(int pid, unsigned long long time, const std::string& path,
                          const std::string& name) {
  const std::lock_guard lock(mutex_);
  const auto place = processes_.living.find(pid);
  if (place == processes_.living.end() || time < place->second.start) return;
  Life& process = place->second;
  if (!path.empty() && path != process.path) {
    if (process.earlier.size() == kMostImages) process.earlier.erase(process.earlier.begin());
    process.earlier.push_back({process.path, process.name, time});
    process.path = path;
    const std::set<int> threads = process.threads;
    for (const int tid : threads) {
      if (tid != pid) endThread(tid, time);
    }
  }
  if (name.empty()) return;
  process.name = name;
  const auto thread = threads_.living.find(pid);
  if (thread != threads_.living.end()) thread->second.name = name;
}

void ProcessTable::ended(int pid, unsigned long long time) {
  const std::lock_guard lock(mutex_);
  endProcess(pid, time);
}

void ProcessTable::threadStarted(int pid, int tid, unsigned long long time,
                                 const std::string& name) {
  const std::lock_guard lock(mutex_);
  beginThread(pid, tid, time, name);
}

void ProcessTable::threadNamed(int tid, const std::string& name) {
  const std::lock_guard lock(mutex_);
  for (Lives* lives : {&threads_, &processes_}) {
    const auto life = lives->living.find(tid);
    if (life != lives->living.end()) life->second.name = name;
  }
}

void ProcessTable::threadEnded(int tid, unsigned long long time) {
  const std::lock_guard lock(mutex_);
  endThread(tid, time);
}

std::vector<int> ProcessTable::livingThreadsOf(int pid) const {
  const std::lock_guard lock(mutex_);
  const auto process = processes_.living.find(pid);
  if (process == processes_.living.end()) return {};
  return {process->second.threads.begin(), process->second.threads.end()};
}

unsigned long long ProcessTable::forgotten() const {
  const std::lock_guard lock(mutex_);
  return forgotten_;
}

void ProcessTable::describe(pwr::SystemDescription& system) const {
  const std::lock_guard lock(mutex_);
  const auto inOrder = [](const Lives& lives) {
    std::vector<const Life*> all;
    for (const Life& life : lives.ended) all.push_back(&life);
    for (const auto& [number, life] : lives.living) all.push_back(&life);
    std::ranges::sort(all, {}, [](const Life* life) {
      return std::tuple(life->start, life->pid, life->tid, life->end);
    });
    return all;
  };
  system.processes.clear();
  system.threads.clear();
  for (const Life* life : inOrder(processes_)) {
    system.processes.emplace_back(life->pid, life->parent, life->path, life->start, life->end,
                                  life->name, life->earlier);
  }
  for (const Life* life : inOrder(threads_)) {
    system.threads.emplace_back(life->pid, life->tid, life->start, life->end, life->name);
  }
}

}  // namespace tavrin
