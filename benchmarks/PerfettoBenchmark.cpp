// The Perfetto writer from the metric message to the closed file, against the least that a writer
// of such packets has to do: a call of fwrite for each of them. Then what it needs of memory.
//
//   perfetto/fwrite    at most 3, for 1,000,000 events without annotations
//   allocations/event  0
//   peak_MiB           below 16 for 10,000,000 points

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "benchmarks/AllocationCount.h"
#include "benchmarks/Figures.h"
#include "benchmarks/Measure.h"
#include "exporters/perfetto/PerfettoWriter.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"

namespace {

constexpr unsigned int kEvents = 1000000;
constexpr unsigned int kPoints = 10000000;
constexpr unsigned long long kStart = 1000000000000ULL;

using Type = pwr::Metric::MetricType;

/// A run with one metric of two CPUs. Its messages are made before the time is taken: what makes a
/// message is no part of what writes it.
class PerfettoBench {
 public:
  explicit PerfettoBench(Type type) {
    for (const char* const cpu : {"CPU0", "CPU1"}) {
      cpus_.push_back(pwr::createEntity({.name = cpu, .level = "Thread"}));
    }
    const auto* const metric = pwr::createMetric({.name = "Benchmark", .type = type});
    messages_.assign(kMessages, pwr::Metric(metric));
    for (unsigned int n = 0; n < kMessages; ++n) {
      pwr::Data value = type == Type::SampledValue ? pwr::Data(n / 7.0)
                                                   : pwr::Data("event " + std::to_string(n % 24));
      messages_[n].editData().elements = {
          {std::move(value), nullptr, cpus_[n % 2], type == Type::TracedEvent ? 0U : 1000U}};
    }
    writer_.openOutput("run", false);
    WriterDispatch::write(writer_, pwr::SystemMessage(&system_));
  }

  void write(unsigned int n) {
    pwr::Metric& message = messages_[n % kMessages];
    message.editData().timestamp = kStart + n * 500ULL;
    WriterDispatch::write(writer_, message);
  }
  bool close() { return writer_.closeOutput() == 0; }

 private:
  static constexpr unsigned int kMessages = 1024;

  pwr::SystemMetadata system_{pwr::SystemDescription{.timestampClockFrequencyMHz = 1000,
                                                     .collectionStartTimestamp = kStart}};
  std::vector<const pwr::EntityHandle*> cpus_;
  std::vector<pwr::Metric> messages_;
  PerfettoWriter writer_;
};

bool writeRun(Type type, unsigned int count) {
  PerfettoBench run(type);
  for (unsigned int n = 0; n < count; ++n) run.write(n);
  return run.close();
}

std::string contentOf(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Of the packets of a trace, with the field that each is.
std::vector<std::size_t> sizesOf(const std::string& trace) {
  std::vector<std::size_t> sizes;
  sizes.reserve(kEvents + std::size_t{100});
  for (std::size_t at = 0; at < trace.size(); at += sizes.back()) {
    std::size_t size = 0;
    std::size_t head = 1;
    for (unsigned int shift = 0;; shift += 7, ++head) {
      const auto byte = static_cast<unsigned char>(trace[at + head]);
      size |= std::size_t{byte & 0x7FU} << shift;
      if (byte < 0x80) break;
    }
    sizes.push_back(head + 1 + size);
  }
  return sizes;
}

bool writeEach(const std::string& trace, const std::vector<std::size_t>& sizes) {
  FILE* const file = std::fopen("plain", "wb");
  if (file == nullptr) return false;
  const char* at = trace.data();
  for (const std::size_t size : sizes) {
    if (std::fwrite(at, 1, size, file) != size) break;
    at += size;
  }
  return std::fclose(file) == 0 && at == trace.data() + trace.size();
}

// First, because a child begins with what its parent holds.
void memory(benchmark::State& state) {
  const measure::WorkFolder folder;
  double peak = 0.0;
  while (state.KeepRunning()) {
    const Type type = state.range(0) == 0 ? Type::SampledValue : Type::TracedValueTransition;
    peak = measure::peakMemoryOf([&] { return writeRun(type, kPoints); });
  }
  if (peak < 0) return figures::fail(state, "the trace failed");
  figures::atMost(state, "peak_MiB", peak, 16);
}
BENCHMARK(memory)->ArgName("states")->Arg(0)->Arg(1)->Iterations(1)->Unit(benchmark::kMillisecond);

void allocations(benchmark::State& state) {
  const measure::WorkFolder folder;
  while (state.KeepRunning()) {
    PerfettoBench run(Type::TracedEvent);
    constexpr unsigned int kHalf = kEvents / 2;
    for (unsigned int n = 0; n < kHalf; ++n) run.write(n);
    const std::uint64_t before = allocationCount();
    for (unsigned int n = kHalf; n < kEvents; ++n) run.write(n);
    figures::atMost(state, "allocations/event",
                    static_cast<double>(allocationCount() - before) / kHalf, 0);
  }
}
BENCHMARK(allocations)->Iterations(1)->Unit(benchmark::kMillisecond);

void perfettoAgainstWrites(benchmark::State& state) {
  const measure::WorkFolder folder;
  measure::Pairs pairs;
  bool isWritten = writeRun(Type::TracedEvent, kEvents);
  const std::string trace = contentOf("run.pftrace");
  const std::vector<std::size_t> sizes = sizesOf(trace);
  while (state.KeepRunning()) {
    // Both write new files: to empty an old one takes time too, and leaves warm pages behind.
    for (const char* name : {"run.pftrace", "plain"}) std::filesystem::remove(name);
    state.SetIterationTime(
        pairs.add([&] { isWritten = writeRun(Type::TracedEvent, kEvents) && isWritten; },
                  [&] { isWritten = writeEach(trace, sizes) && isWritten; }));
  }
  if (!isWritten) return figures::fail(state, "the trace failed");
  state.counters["ns/event"] = pairs.seconds() * 1e9 / kEvents;
  state.counters["bytes/event"] = static_cast<double>(trace.size()) / kEvents;
  figures::atMost(state, "perfetto/fwrite", pairs.ratio(), 3);
}
BENCHMARK(perfettoAgainstWrites)->UseManualTime()->Iterations(15)->Unit(benchmark::kMillisecond);

}  // namespace
