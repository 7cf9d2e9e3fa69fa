#pragma once

#include <dirent.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/SysRoot.h"

namespace tavrin {

/// What /proc/PID/stat tells of a process or a thread.
struct ProcessStat {
  std::string name;  ///< of at most 15 bytes, whichever they are; of kernel workers up to 63
  int parent = 0;
  bool isKernelThread = false;
  unsigned int threads = 0;
  unsigned long long start = 0;  ///< in clock ticks since the machine was started
};

/// What /proc/PID/status tells of a process: of its main thread how often it was switched away, of
/// the process its memory in KiB (0 for a kernel thread).
struct ProcessStatus {
  unsigned long long voluntary = 0;
  unsigned long long involuntary = 0;
  unsigned long long peakKiB = 0;
  unsigned long long residentKiB = 0;
};

/// Of the text of schedstat: time on a processor and time spent waiting for one, in nanoseconds.
struct SchedTimes {
  unsigned long long ran = 0;
  unsigned long long waited = 0;

  static std::optional<SchedTimes> parse(std::string_view text);
};

/// The files of processes below /proc (Documentation/filesystems/proc.rst,
/// Documentation/scheduler/sched-stats.rst). A process may vanish before any of the readings.
class ProcessFiles {
 public:
  explicit ProcessFiles(const SysRoot& root) : root_(root) {}

  /// Replaces `pids` by the numbers of all processes, ascending. Allocates nothing where there is
  /// room, but at the first call. Returns 0 or the errno of the failure.
  int list(std::vector<int>& pids);
  std::vector<int> threadsOf(int pid) const;

  /// What a process, with all its threads, also those that have ended, has used of the processors,
  /// in nanoseconds. On this machine the kernel is asked for the process's clock, as of the threads
  /// /proc/PID/schedstat tells the main one only; below another root the file is all there is.
  std::optional<unsigned long long> cpuTime(int pid) const;
  std::optional<ProcessStat> stat(int pid) const { return statAt(folder(pid)); }
  std::optional<ProcessStat> stat(int pid, int tid) const;
  /// Whether `stat` has failed as there is no such process any more.
  bool isGone(int pid) const;
  std::optional<ProcessStatus> status(int pid) const;
  /// The path of the program, or the first word of the command line where that is not to be had;
  /// empty for a kernel thread.
  std::string program(int pid) const;
  std::optional<SchedTimes> schedTimes(int pid) const;
  /// /proc/PID/schedstat, which stays that of the process that had the number when it was opened.
  OpenFile schedstat(int pid) const;

  static constexpr const char* kFolder = "/proc";

 private:
  static std::string folder(int pid);
  std::optional<ProcessStat> statAt(const std::string& folder) const;

  struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
  };
  using Folder = std::unique_ptr<DIR, CloseFolder>;
  static int listNumbers(Folder& folder, const std::string& path, std::vector<int>& numbers);

  const SysRoot& root_;
  Folder all_;
};

}  // namespace tavrin
