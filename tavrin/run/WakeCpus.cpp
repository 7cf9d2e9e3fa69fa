#include "tavrin/run/WakeCpus.h"

#include <sched.h>

#include <memory>

namespace tavrin {

namespace {

constexpr int kMostCpus = 8192;

struct FreeSet {
  void operator()(cpu_set_t* set) const { CPU_FREE(set); }
};
using CpuSet = std::unique_ptr<cpu_set_t, FreeSet>;

}  // namespace

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
