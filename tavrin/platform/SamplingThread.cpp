#include "tavrin/platform/SamplingThread.h"

#include <sched.h>
#include <sys/prctl.h>

#include <ctime>
#include <memory>

namespace tavrin {

namespace {

constexpr int kMostCpus = 8192;

struct FreeSet {
  void operator()(cpu_set_t* set) const { CPU_FREE(set); }
};
using CpuSet = std::unique_ptr<cpu_set_t, FreeSet>;

}  // namespace

unsigned long long nowTicks() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_RAW, &now);
  return static_cast<unsigned long long>(now.tv_sec) * 1'000'000'000ULL +
         static_cast<unsigned long long>(now.tv_nsec);
}

void wakeAtDeadlines() {
  prctl(PR_SET_TIMERSLACK, 1UL);
}

void wakeCpus() {
  const std::size_t size = CPU_ALLOC_SIZE(kMostCpus);
  const CpuSet all(CPU_ALLOC(kMostCpus));
  const CpuSet one(CPU_ALLOC(kMostCpus));
  if (all == nullptr || one == nullptr || sched_getaffinity(0, size, all.get()) != 0) return;
  for (int cpu = 0; cpu < kMostCpus; ++cpu) {
    if (CPU_ISSET_S(static_cast<std::size_t>(cpu), size, all.get()) == 0) continue;
    CPU_ZERO_S(size, one.get());
    CPU_SET_S(static_cast<std::size_t>(cpu), size, one.get());
    sched_setaffinity(0, size, one.get());
  }
  sched_setaffinity(0, size, all.get());
}

}  // namespace tavrin
