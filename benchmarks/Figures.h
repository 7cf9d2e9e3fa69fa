#pragma once

#include <benchmark/benchmark.h>

#include <string>

/// The figures of a benchmark program and the bounds that they have to keep. `main` prints all of
/// them at the end, and the program fails when one is missed.
namespace figures {

/// Notes a figure that may be at most, or has to be at least, `bound`. It stands among the counters
/// of `state` too.
void atMost(benchmark::State& state, const std::string& name, double figure, double bound);
void atLeast(benchmark::State& state, const std::string& name, double figure, double bound);
/// Ends a benchmark that cannot be measured, which fails the program.
void fail(benchmark::State& state, const std::string& cause);

}  // namespace figures
