#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "writers/host/SystemMetadata.h"
#include "writers/host/UniqueId.h"
#include "writers/timeline/InfoRecords.h"

/// Writes what describes processes and threads into the timeline file. Events refer to them by
/// their numbers while they run; what they are is known at the end of the run, and written then.
class ProcessInfos {
 public:
  explicit ProcessInfos(InfoRecords& infos) : infos_(infos) {}

  /// The ids that data records refer to, given to a number at first sight.
  std::uint64_t processId(long long pid);
  std::uint64_t threadId(long long tid);
  /// The same for a thread that is known to belong to process `pid`.
  std::uint64_t threadId(long long pid, long long tid);

  /// Writes a record for every process and thread that the host describes or an event referred to,
  /// parents first. A number that several processes had is written once, with every lifetime.
  /// Returns 0, or 1 on failure.
  int write(const pwr::SystemMetadata& metadata);

 private:
  struct KnownProcess {
    std::uint64_t id = 0;
    std::vector<const pwr::Process*> lives;
    bool isStarted = false;
    bool isWritten = false;
  };
  struct KnownThread {
    std::uint64_t id = 0;
    bool hasProcess = false;
    long long pid = 0;
    std::vector<const pwr::Thread*> lives;
  };

  KnownProcess& process_i(long long pid);
  KnownThread& thread_i(long long tid);
  void collect_i(const pwr::SystemMetadata& metadata);
  int writeProcess_i(long long pid, KnownProcess& process);
  int writeThread_i(long long tid, const KnownThread& thread);

  InfoRecords& infos_;
  std::map<long long, KnownProcess> processes_;
  std::map<long long, KnownThread> threads_;
};
