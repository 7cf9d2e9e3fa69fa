#pragma once

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "hostcommon/Platform.h"
#include "writers/host/HostFunctions.h"

/// What the benchmarks measure with.
namespace measure {

/// Makes a folder of its own the current one, until the end: what is measured works in it, and the
/// stores put their temporary files there.
class WorkFolder {
 public:
  WorkFolder()
      : before_(std::filesystem::current_path()),
        path_(std::filesystem::absolute(pwr::platform::createPrivateDirectory(""))) {
    std::filesystem::current_path(path_);
  }
  ~WorkFolder() {
    std::filesystem::current_path(before_);
    std::filesystem::remove_all(path_);
  }
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

 private:
  const std::filesystem::path before_;
  const std::filesystem::path path_;
};

/// The processor time of this process and of the children that it has waited for, in seconds. (The
/// time on the clock tells what else the machine does as well.)
inline double processorSeconds() {
  double seconds = 0.0;
  for (const auto who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage{};
    getrusage(who, &usage);
    for (const timeval& time : {usage.ru_utime, usage.ru_stime}) {
      seconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    }
  }
  return seconds;
}

template <typename Work>
double secondsOf(const Work& work) {
  const double start = processorSeconds();
  work();
  return processorSeconds() - start;
}

/// The median of an odd number of values, or the upper one of the two in the middle.
inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::ranges::nth_element(values, middle);
  return *middle;
}

/// How long something takes, and how many times as long as something else. The two run in turns, so
/// that a slower moment of the machine meets both.
class Pairs {
 public:
  /// Returns the seconds of `work`.
  template <typename Work, typename Other>
  double add(const Work& work, const Other& other) {
    seconds_.push_back(secondsOf(work));
    ratios_.push_back(seconds_.back() / secondsOf(other));
    return seconds_.back();
  }
  double seconds() const { return median(seconds_); }
  double ratio() const { return median(ratios_); }

 private:
  std::vector<double> seconds_;
  std::vector<double> ratios_;
};

/// Writes a new file with one call: the least that any way of keeping the bytes has to do.
inline bool writePlainly(const std::string& path, const std::vector<char>& bytes) {
  FILE* file = nullptr;
  if (!pwr::openFileHandle(&file, path.c_str(), "wb")) return false;
  const bool isWritten = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return std::fclose(file) == 0 && isWritten;
}

/// The most memory in MiB that a process of its own needs for `work`, which returns whether it
/// succeeded; negative when it fails. It begins with what this process holds.
template <typename Work>
double peakMemoryOf(const Work& work) {
  const pid_t child = fork();
  if (child == 0) _exit(work() ? 0 : 1);
  int status = 1;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) return -1.0;
  return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

}  // namespace measure
