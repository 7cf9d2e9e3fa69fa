#include "tavrin/platform/SamplingThread.h"

#include <sched.h>
#include <sys/prctl.h>

#include <charconv>
#include <ctime>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

namespace {

constexpr int kMostCpus = 8192;
const std::size_t kSetBytes = CPU_ALLOC_SIZE(kMostCpus);

struct FreeSet {
  void operator()(cpu_set_t* set) const { CPU_FREE(set); }
};
using CpuSet = std::unique_ptr<cpu_set_t, FreeSet>;

/// Adds the CPUs of a mask as the kernel prints it: "3f,ffffffff", with CPU0 to 3 in the last
/// digit.
void addMask(std::string_view mask, cpu_set_t* cpus) {
  std::size_t cpu = 0;
  for (std::size_t i = mask.size(); i-- > 0;) {
    unsigned int digit = 0;
    const char* const place = mask.data() + i;
    if (std::from_chars(place, place + 1, digit, 16).ec != std::errc()) continue;
    for (unsigned int bit = 0; bit < 4; ++bit, ++cpu) {
      if ((digit >> bit & 1U) != 0) CPU_SET_S(cpu, kSetBytes, cpus);
    }
  }
}

/// Where the thread may run, now or later: sched_getaffinity(2) leaves out CPUs that are offline,
/// and to set what that tells would keep the thread and its children away from them for good.
CpuSet allowedCpus() {
  CpuSet cpus(CPU_ALLOC(kMostCpus));
  if (cpus == nullptr) return cpus;
  CPU_ZERO_S(kSetBytes, cpus.get());
  std::ifstream status("/proc/thread-self/status");
  const std::string key = "Cpus_allowed:";
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(key)) addMask(std::string_view(line).substr(key.size()), cpus.get());
  }
  return cpus;
}

std::vector<std::size_t> numbersIn(const cpu_set_t* cpus) {
  std::vector<std::size_t> numbers;
  for (std::size_t cpu = 0; cpus != nullptr && cpu < kMostCpus; ++cpu) {
    if (CPU_ISSET_S(cpu, kSetBytes, cpus) != 0) numbers.push_back(cpu);
  }
  return numbers;
}

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
  static const CpuSet allowed = allowedCpus();
  static const std::vector<std::size_t> numbers = numbersIn(allowed.get());
  const CpuSet all(CPU_ALLOC(kMostCpus));
  const CpuSet one(CPU_ALLOC(kMostCpus));
  if (allowed == nullptr || all == nullptr || one == nullptr) return;
  if (sched_getaffinity(0, kSetBytes, all.get()) != 0) return;
  const int own = sched_getcpu();  // which is awake
  for (const std::size_t cpu : numbers) {
    if (CPU_ISSET_S(cpu, kSetBytes, all.get()) == 0 || static_cast<int>(cpu) == own) continue;
    CPU_ZERO_S(kSetBytes, one.get());
    CPU_SET_S(cpu, kSetBytes, one.get());
    sched_setaffinity(0, kSetBytes, one.get());
  }
  CPU_OR_S(kSetBytes, all.get(), all.get(), allowed.get());
  sched_setaffinity(0, kSetBytes, all.get());
}

}  // namespace tavrin
