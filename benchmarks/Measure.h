#pragma once

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
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

template <typename Work>
double secondsOf(const Work& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

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
