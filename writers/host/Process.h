#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "writers/host/HostApi.h"

namespace pwr {

/// An event that belongs to a process or a thread says so with an integer attribute of this name.
inline constexpr std::string_view kPidAttribute = "PID";
inline constexpr std::string_view kTidAttribute = "TID";
/// A sample of what a process used has its name as a text attribute of this name.
inline constexpr std::string_view kProcessAttribute = "Process";

/// What a process ran until an exec replaced it at `endTime`, in ticks of the timestamp clock.
struct ProcessImage {
  std::string path;  ///< of the program; empty for unknown
  std::string name;  ///< of the process at that time; empty for unknown
  unsigned long long endTime = 0;
};

/// A process and its lifetime in ticks of the timestamp clock. An end of 0 means that it was still
/// running at the end of the collection. Path and name are the last that it had: the path of its
/// program, and the name that the system knows it by. Either is empty where it is not known.
class PW_HOST_API Process {
 public:
  /// `earlier`: what it ran before, oldest first; the times ascend.
  Process(int pid, int parentPid, std::string path, unsigned long long startTime,
          unsigned long long endTime, std::string name = {}, std::vector<ProcessImage> earlier = {})
      : pid_(pid),
        parentPid_(parentPid),
        path_(std::move(path)),
        name_(std::move(name)),
        startTime_(startTime),
        endTime_(endTime),
        earlierImages_(std::move(earlier)) {}

  int getPid() const { return pid_; }
  int getParentPid() const { return parentPid_; }
  const std::string& getPath() const { return path_; }
  const std::string& getName() const { return name_; }
  unsigned long long getStartTime() const { return startTime_; }
  unsigned long long getEndTime() const { return endTime_; }
  const std::vector<ProcessImage>& getEarlierImages() const { return earlierImages_; }

 private:
  int pid_;
  int parentPid_;
  std::string path_;
  std::string name_;
  unsigned long long startTime_;
  unsigned long long endTime_;
  std::vector<ProcessImage> earlierImages_;
};

/// A thread of a process and its lifetime, as for `Process`. The name is the last that it had.
class PW_HOST_API Thread {
 public:
  Thread(int pid, int tid, unsigned long long startTime, unsigned long long endTime,
         std::string name = {})
      : pid_(pid), tid_(tid), startTime_(startTime), endTime_(endTime), name_(std::move(name)) {}

  int getPid() const { return pid_; }
  int getTid() const { return tid_; }
  unsigned long long getStartTime() const { return startTime_; }
  unsigned long long getEndTime() const { return endTime_; }
  const std::string& getName() const { return name_; }

 private:
  int pid_;
  int tid_;
  unsigned long long startTime_;
  unsigned long long endTime_;
  std::string name_;
};

}  // namespace pwr
