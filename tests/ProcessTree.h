#pragma once

#include <filesystem>
#include <string>

#include "CollectSupport.h"

namespace tavrin {

inline constexpr unsigned int kKernelThread = 0x00200000;

struct FakeProcess {
  int pid = 0;
  std::string name;
  unsigned long long started = 100;  // clock ticks of 10 ms
  unsigned long long ran = 0;        // ms
  unsigned long long waited = 0;     // ms
  unsigned int flags = 0;
  unsigned int threads = 1;
  std::string state = "S";
};

inline std::string statOf(const FakeProcess& process) {
  return std::to_string(process.pid) + " (" + process.name + ") " + process.state + " 1 1 1 0 -1 " +
         std::to_string(process.flags) + " 5 0 0 0 7 8 0 0 20 0 " +
         std::to_string(process.threads) + " 0 " + std::to_string(process.started) +
         " 9999 55 18446744073709551615 0 0\n";
}

inline std::string schedstatOf(const FakeProcess& process) {
  return std::to_string(process.ran) + "000000 " + std::to_string(process.waited) + "000000 3\n";
}

/// The files of a process; the kernel's threads have no memory.
inline FileTable filesOf(const FakeProcess& process, const std::string& status = "") {
  const std::string folder = "/proc/" + std::to_string(process.pid) + "/";
  return {{folder + "stat", statOf(process)},
          {folder + "schedstat", schedstatOf(process)},
          {folder + "status", "Name:\tx\n" + status},
          {folder + "cmdline",
           process.flags == 0 ? "/bin/" + process.name + std::string("\0-c\0", 4) : std::string()}};
}

/// A tree of files with processes in it.
class ProcessTree : public SysTree {
 public:
  using SysTree::SysTree;

  void put(const FakeProcess& process, const std::string& status = "") const {
    for (const auto& [path, text] : filesOf(process, status)) write(path, text);
  }
  /// It runs on.
  void run(const FakeProcess& process) const {
    write("/proc/" + std::to_string(process.pid) + "/schedstat", schedstatOf(process));
  }
  void end(int pid) const {
    const std::string inside = "/proc/" + std::to_string(pid);
    // Emptied first: who has the file open finds the process gone, as with the kernel's.
    write(inside + "/schedstat", "");
    std::filesystem::remove_all(folder() + inside);
  }
};

}  // namespace tavrin
