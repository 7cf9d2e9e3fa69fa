#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "writers/host/SystemMetadata.h"

namespace tavrin {

/// The processes and threads of a run, kept while it goes on, from whatever tells of them: polls,
/// which see what is there, or the kernel's events, which tell what happens. Times are in ticks.
/// Safe to call from several threads.
///
/// A process is its number and its start. A number is given again when its owner has ended, so a
/// later start ends the process that has the number. Polls know starts less exactly than events do:
/// two that differ by less than `kSameStart` are of one process while it lives. What is told late,
/// of a time before the owner's start, is of one before it, and left out.
///
/// The memory is bounded: that of the processes and threads that live, and of as many of either
/// that have ended as the table was made for (some 200 bytes each, and their paths). Beyond that,
/// those that ended first are forgotten, and counted.
class ProcessTable {
 public:
  static constexpr unsigned long long kSameStart = 30'000'000;
  static constexpr std::size_t kMostEnded = 65536;
  static constexpr std::size_t kMostImages = 16;  ///< that a process ran before; the last ones

  explicit ProcessTable(std::size_t mostEnded = kMostEnded) : mostEnded_(mostEnded) {}

  /// There is a process, with its main thread, since `time`. Texts that are empty and a parent that
  /// is 0 are not known; what is known already stays.
  void started(int pid, int parentPid, unsigned long long time, const std::string& path,
               const std::string& name);
  /// It runs another program since `time`, and only its main thread is left. Without a path, or
  /// with the one that it has, only the name is another.
  void execed(int pid, unsigned long long time, const std::string& path, const std::string& name);
  /// It has ended, and its threads with it.
  void ended(int pid, unsigned long long time);

  void threadStarted(int pid, int tid, unsigned long long time, const std::string& name);
  /// Of a main thread, whose number is that of its process, this is the name of both.
  void threadNamed(int tid, const std::string& name);
  void threadEnded(int tid, unsigned long long time);

  /// The numbers of the threads of a process that live.
  std::vector<int> livingThreadsOf(int pid) const;
  /// How many processes and threads were forgotten.
  unsigned long long forgotten() const;
  /// Sets the processes and threads of the description, in the order of their starts.
  void describe(pwr::SystemDescription& system) const;

 private:
  struct Life {
    int pid = 0;
    unsigned long long start = 0;
    unsigned long long end = 0;
    std::string name;
    // Of a process:
    int parent = 0;
    std::string path;
    std::vector<pwr::ProcessImage> earlier;
    std::set<int> threads;  // that live
    // Of a thread:
    int tid = 0;
  };
  /// Processes or threads.
  struct Lives {
    std::unordered_map<int, Life> living;  // by number
    std::deque<Life> ended;
  };

  Life* begin(Lives& lives, int number, unsigned long long time);
  void finish(Lives& lives, int number, unsigned long long time);
  void endProcess(int pid, unsigned long long time);
  void beginThread(int pid, int tid, unsigned long long time, const std::string& name);
  void endThread(int tid, unsigned long long time);

  const std::size_t mostEnded_;
  mutable std::mutex mutex_;  // guards what follows
  Lives processes_;
  Lives threads_;
  unsigned long long forgotten_ = 0;
};

}  // namespace tavrin
