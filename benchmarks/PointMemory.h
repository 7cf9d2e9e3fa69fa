#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "benchmarks/AllocationCount.h"
#include "benchmarks/Figures.h"

/// Counts what a writer asks of the memory for every point. `send()` makes it take `points` points
/// more; only the second time counts, because by then it knows every series. A point may take
/// `mostBytes`, and the writer asks no more often than buffers have to grow.
template <typename Send>
void countPointMemory(benchmark::State& state, unsigned int points, double mostBytes,
                      const Send& send) {
  send();
  const std::uint64_t allocationsBefore = allocationCount();
  const std::uint64_t bytesBefore = allocatedBytes();
  send();
  const double allocations = static_cast<double>(allocationCount() - allocationsBefore) / points;
  const double bytes = static_cast<double>(allocatedBytes() - bytesBefore) / points;
  const std::string variant = " (" + std::to_string(state.range(0)) + ")";
  figures::atMost(state, "allocations/point" + variant, allocations, 0.01);
  figures::atMost(state, "bytes/point" + variant, bytes, mostBytes);
}
