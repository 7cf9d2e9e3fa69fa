#include "tavrin/collect/CommandCounters.h"

#include <linux/perf_event.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "tavrin/collect/Rights.h"
#include "tavrin/common/Refusals.h"

namespace tavrin {

namespace {

struct Event {
  const char* name;
  std::uint32_t type;
  std::uint64_t config;
};

constexpr Event kEvents[] = {
    {"Task Clock", PERF_TYPE_SOFTWARE, PERF_COUNT_SW_TASK_CLOCK},
    {"Instructions", PERF_TYPE_HARDWARE, PERF_COUNT_HW_INSTRUCTIONS},
    {"Cycles", PERF_TYPE_HARDWARE, PERF_COUNT_HW_CPU_CYCLES},
    {"Cache References", PERF_TYPE_HARDWARE, PERF_COUNT_HW_CACHE_REFERENCES},
    {"Cache Misses", PERF_TYPE_HARDWARE, PERF_COUNT_HW_CACHE_MISSES},
    {"Branch Misses", PERF_TYPE_HARDWARE, PERF_COUNT_HW_BRANCH_MISSES},
};

/// Of the calling thread, on all CPUs. Returns the descriptor or -1.
int openEvent(const Event& event, bool isOfProgramsOnly) {
  perf_event_attr attributes{};
  attributes.size = sizeof attributes;
  attributes.type = event.type;
  attributes.config = event.config;
  attributes.disabled = 1;
  attributes.inherit = 1;
  attributes.enable_on_exec = 1;
  attributes.exclude_kernel = isOfProgramsOnly ? 1 : 0;
  attributes.exclude_hv = attributes.exclude_kernel;
  attributes.read_format = PERF_FORMAT_TOTAL_TIME_ENABLED | PERF_FORMAT_TOTAL_TIME_RUNNING;
  return static_cast<int>(
      syscall(SYS_perf_event_open, &attributes, 0, -1, -1, PERF_FLAG_FD_CLOEXEC));
}

}  // namespace

CommandCounters::~CommandCounters() {
  for (const Counter& counter : counters_) {
    if (counter.descriptor >= 0) ::close(counter.descriptor);
  }
}

void CommandCounters::open() {
  for (const Event& event : kEvents) {
    Counter counter{event.name};
    counter.descriptor = openEvent(event, false);
    if (counter.descriptor < 0 && (errno == EACCES || errno == EPERM)) {
      Refusals::note(kTaskCounters, errno);
      counter.descriptor = openEvent(event, true);
      // Of the task clock the kernel makes no such difference.
      if (event.type == PERF_TYPE_HARDWARE) counter.name += " (programs)";
    }
    if (counter.descriptor < 0) {
      counter.error = errno;
      counter.name = event.name;
    }
    counters_.push_back(std::move(counter));
  }
}

std::optional<double> CommandCounters::value(const Counter& counter) {
  struct Reading {
    std::uint64_t count;
    std::uint64_t enabled;
    std::uint64_t running;
  } reading{};
  if (counter.descriptor < 0) return std::nullopt;
  if (::read(counter.descriptor, &reading, sizeof reading) != sizeof reading) return std::nullopt;
  if (reading.running == 0) return std::nullopt;
  return static_cast<double>(reading.count) * static_cast<double>(reading.enabled) /
         static_cast<double>(reading.running);
}

}  // namespace tavrin
