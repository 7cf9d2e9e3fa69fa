#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

#include "benchmarks/AllocationCount.h"

/// Counts what a writer asks of the memory for every point. `send()` makes it take `points` points
/// more; only the second time counts, because by then it knows every series. Fails when a point
/// takes more than `mostBytes`, or when the writer asks more often than buffers have to grow.
template <typename Send>
void countPointMemory(benchmark::State& state, unsigned int points, double mostBytes,
                      const Send& send) {
  send();
  const std::uint64_t allocationsBefore = allocationCount();
  const std::uint64_t bytesBefore = allocatedBytes();
  send();
  const double allocations = static_cast<double>(allocationCount() - allocationsBefore) / points;
  const double bytes = static_cast<double>(allocatedBytes() - bytesBefore) / points;
  state.counters["allocations/point"] = allocations;
  state.counters["bytes/point"] = bytes;
  if (allocations > 0.01) state.SkipWithError("allocates for its points one by one");
  if (bytes > mostBytes) state.SkipWithError("a point takes too much memory");
}
