#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "writers/host/HostApi.h"

namespace pwr {

/// An event that belongs to a process or a thread says so with an integer attribute of this name.
inline constexpr std::string_view kPidAttribute = "PID";
inline constexpr std::string_view kTidAttribute = "TID";

/// A process and its lifetime in ticks of the timestamp clock. An end of 0 means that it was still
/// running at the end of the collection.
class PW_HOST_API Process {
 public:
  Process(int pid, int parentPid, std::string path, unsigned long long startTime,
          unsigned long long endTime)
      : pid_(pid),
        parentPid_(parentPid),
        path_(std::move(path)),
        startTime_(startTime),
        endTime_(endTime) {}

  int getPid() const { return pid_; }
  int getParentPid() const { return parentPid_; }
  const std::string& getPath() const { return path_; }
  unsigned long long getStartTime() const { return startTime_; }
  unsigned long long getEndTime() const { return endTime_; }

 private:
  int pid_;
  int parentPid_;
  std::string path_;
  unsigned long long startTime_;
  unsigned long long endTime_;
};

/// A thread of a process and its lifetime, as for `Process`.
class PW_HOST_API Thread {
 public:
  Thread(int pid, int tid, unsigned long long startTime, unsigned long long endTime)
      : pid_(pid), tid_(tid), startTime_(startTime), endTime_(endTime) {}

  int getPid() const { return pid_; }
  int getTid() const { return tid_; }
  unsigned long long getStartTime() const { return startTime_; }
  unsigned long long getEndTime() const { return endTime_; }

 private:
  int pid_;
  int tid_;
  unsigned long long startTime_;
  unsigned long long endTime_;
};

}  // namespace pwr
