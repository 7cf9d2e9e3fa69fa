#include "tavrin/collect/Rights.h"

#include <algorithm>
#include <regex>
#include <string>

namespace tavrin {

const std::vector<Right>& rights() {
  static const std::vector<Right> kRights{
      {"Energy counters",
       "^/sys/class/powercap/",
       "read permission for energy_uj, or CAP_DAC_READ_SEARCH",
       {"sudo chgrp $(id -gn) /sys/class/powercap/*/energy_uj",
        "sudo chmod g+r /sys/class/powercap/*/energy_uj"}},
      {"Counters of CPUs",
       "^perf_event_open of a CPU$",
       "kernel.perf_event_paranoid of 0 or less, or CAP_PERFMON",
       {"sudo sysctl kernel.perf_event_paranoid=0"}},
      {"Processes of others",
       "^/proc/[0-9]",
       "/proc without hidepid, the group of its option gid, or CAP_SYS_PTRACE",
       {"sudo mount -o remount,hidepid=0 /proc"}},
      {"Counters of the command",
       "^perf_event_open of a task$",
       "kernel.perf_event_paranoid of 1 or less, or CAP_PERFMON",
       {"sudo sysctl kernel.perf_event_paranoid=1"}},
      {"Kernel tracing",
       "^/sys/kernel/(debug/)?tracing",
       "tracefs as the user's own (option uid), or CAP_DAC_OVERRIDE",
       {"sudo mount -o remount,uid=$(id -u) /sys/kernel/tracing"}},
      {"Kernel tracing, not mounted",
       "^tracefs$",
       "tracefs mounted as the user's own, or CAP_SYS_ADMIN and CAP_DAC_OVERRIDE",
       {"sudo mount -t tracefs -o uid=$(id -u) nodev /sys/kernel/tracing"}},
      {"Debug files",
       "^/sys/kernel/debug",
       "search permission for /sys/kernel/debug, or CAP_DAC_READ_SEARCH",
       {"sudo mount -o remount,mode=0755 /sys/kernel/debug"}},
      {"Other files",
       "",
       "read permission for these files, or CAP_DAC_READ_SEARCH",
       {"sudo chmod o+r FILE..."}},
  };
  return kRights;
}

const Right& rightOf(std::string_view refused) {
  const std::string text(refused);
  return *std::ranges::find_if(rights(), [&](const Right& right) {
    return std::regex_search(text, std::regex(right.guards));
  });
}

}  // namespace tavrin
