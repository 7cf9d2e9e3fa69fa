#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "writers/common/EventAttributes.h"
#include "writers/host/SystemMetadata.h"
#include "writers/timeline/InfoRecords.h"
#include "writers/timeline/Lifetimes.h"
#include "writers/timeline/OwnedRecord.h"

/// Writes what describes processes and threads into the timeline file, and finds those that an
/// event belongs to. A number is given again when its owner has ended: whose it was tells the time,
/// once the lifetimes are known, which is at the end of the run. The operations are called then, in
/// the order in which they stand here.
class ProcessInfos {
 public:
  explicit ProcessInfos(InfoRecords& infos) : infos_(infos) {}

  /// Takes the processes and threads that the host describes, which must not change any more.
  void setLifetimes(const pwr::SystemMetadata& metadata);
  /// Sees to it that the owner of an event is described, if need be by its number alone. `tsc`:
  /// when the event was, in ticks.
  void addOwner(const EventOwner& owner, std::uint64_t tsc);
  /// Writes a record for every process and thread, parents first. Returns 0, or 1 on failure.
  int write();
  /// The owner of an event, which was added with the same time.
  OwnerIds idsOf(const EventOwner& owner, std::uint64_t tsc) const;

 private:
  /// A process while it runs one program: an exec begins another one.
  struct ProcessLife : Lifetime {
    long long pid = 0;
    std::uint64_t id = 0;
    const pwr::Process* described = nullptr;  // null: known by its number alone
    std::string_view path;
    std::string_view name;
    std::uint64_t toldEnd = 0;
    ProcessLife* parent = nullptr;
    bool isReached = false;
    bool isWritten = false;
  };
  struct ThreadLife : Lifetime {
    std::uint64_t id = 0;
    const pwr::Thread* described = nullptr;
    const ProcessLife* process = nullptr;
  };
  /// Thread number, and number of the process where it is known.
  using ThreadKey = std::pair<long long, std::optional<long long>>;

  void addLives_i(const pwr::Process& process);
  ProcessLife& processAt_i(long long pid, std::uint64_t tsc);
  ProcessLife* parentOf_i(const ProcessLife& process);
  void addThread_i(long long pid, long long tid, const ProcessLife& process);
  void findThreadsOfNumbers_i();
  int writeParentsFirst_i(ProcessLife& process);
  int writeProcess_i(ProcessLife& process);
  int writeThread_i(long long tid, ThreadLife& thread);

  InfoRecords& infos_;
  std::map<long long, Lives<ProcessLife>> processes_;
  std::map<ThreadKey, Lives<ThreadLife>> threads_;
  // For events that tell the thread but not its process: all threads of the number.
  std::map<long long, Lives<const ThreadLife*>> threadsOfNumber_;
};
