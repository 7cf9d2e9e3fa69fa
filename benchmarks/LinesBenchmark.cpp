// What the writer of line protocol costs per point, from the message to the closed file: the time
// that CPUs spent in each of eight sleep states, every 100 ms, in ticks. Then the memory that long
// runs need.
//
//   ns/point          at most 400
//   bytes/point       at most 9, as packed
//   allocations/point 0
//   MiB               at most 16, however many points

#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/AllocationCount.h"
#include "benchmarks/Figures.h"
#include "benchmarks/Measure.h"
#include "exporters/lines/LinesWriter.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"

namespace {

constexpr unsigned int kCpus = 16;
constexpr unsigned int kStates = 8;
constexpr unsigned int kPointsAtOnce = kCpus * kStates;
constexpr unsigned int kMessages = 8192;
constexpr unsigned int kPoints = kMessages * kPointsAtOnce;
constexpr unsigned long long kInterval = 100'000'000;  // ticks

const char* const g_states[kStates] = {"POLL", "C1", "C1E", "C3", "C6", "C7s", "C8", "C10"};

/// Messages that are made beforehand and delivered again and again, each time later.
class LinesBench {
 public:
  /// The kernel counts in units of `resolution` ticks.
  explicit LinesBench(unsigned long long resolution) {
    std::mt19937_64 draw(resolution);
    pwr::Metric message(describe());
    unsigned long long late = 0;
    for (unsigned int n = 0; n < kDifferent; ++n) {
      late = draw() % 60'000;  // no interval begins on time
      message.editData().timestamp = n * kInterval + late;
      for (unsigned int cpu = 0; cpu < kCpus; ++cpu) spend(message, cpu, resolution, draw);
      messages_.push_back(message);
    }
    system_.edit().timestampClockFrequencyMHz = 1000;
    system_.edit().collectionStartTimeNs = 1'795'268'467'443'586'815;
    system_.edit().hostName = "rack7-node12";
    writer_.openOutput("run", false);
    WriterDispatch::write(writer_, pwr::SystemMessage(&system_));
  }

  void write(unsigned int number) {
    pwr::Metric& message = messages_[number % kDifferent];
    const bool isAgain = number >= kDifferent;
    if (isAgain) message.editData().timestamp += kDifferent * kInterval;
    WriterDispatch::write(writer_, message);
  }
  bool close() { return writer_.closeOutput() == 0; }

 private:
  static constexpr unsigned int kDifferent = 2048;

  const pwr::MetricDescription* describe() {
    pwr::MetricDescription metric{.name = "CPU C-State",
                                  .type = pwr::Metric::MetricType::SampledResidency,
                                  .quantity = pwr::Quantity::time()};
    const auto* const package = pwr::createEntity({.name = "Package0", .level = "Package"});
    for (const char* const name : g_states) {
      states_.push_back(pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name, "")));
    }
    for (unsigned int n = 0; n < kCpus; ++n) {
      const auto* const core = pwr::createEntity(
          {.name = "Core" + std::to_string(n / 2), .level = "Core", .parent = package});
      cpus_.push_back(pwr::createEntity(
          {.name = "CPU" + std::to_string(n), .level = "Thread", .parent = core}));
      for (const auto* const state : states_) metric.combinations.push_back({cpus_[n], state});
    }
    return pwr::createMetric(std::move(metric));
  }

  /// Divides most of an interval among the states.
  void spend(pwr::Metric& message, unsigned int cpu, unsigned long long resolution,
             std::mt19937_64& draw) const {
    std::uniform_real_distribution<double> chance(1e-6, 1.0);
    std::vector<double> shares(kStates);
    double sum = -std::log(chance(draw));  // awake
    for (double& share : shares) sum += share = -std::log(chance(draw));
    std::vector<pwr::DataElement>& elements = message.editData().elements;
    elements.resize(kPointsAtOnce);
    for (unsigned int n = 0; n < kStates; ++n) {
      const auto ticks = static_cast<unsigned long long>(shares[n] / sum * kInterval);
      elements[cpu * kStates + n] = {pwr::Data(ticks / resolution * resolution), states_[n],
                                     cpus_[cpu], kInterval};
    }
  }

  std::vector<const pwr::DataDescriptor*> states_;
  std::vector<const pwr::EntityHandle*> cpus_;
  std::vector<pwr::Metric> messages_;
  pwr::SystemMetadata system_;
  LinesWriter writer_;
};

// First, because a child begins with what its parent holds.
void memory(benchmark::State& state) {
  const measure::WorkFolder folder;
  const auto peakOf = [](unsigned int messages) {
    return measure::peakMemoryOf([=] {
      LinesBench run(1);
      for (unsigned int n = 0; n < messages; ++n) run.write(n);
      return run.close();
    });
  };
  double bare = 0.0;
  double peak = 0.0;
  while (state.KeepRunning()) {
    bare = peakOf(1);
    peak = peakOf(10 * kMessages);
  }
  if (bare < 0.0 || peak < 0.0) return figures::fail(state, "cannot write the file");
  figures::atMost(state, "MiB for 10,000,000 points", peak - bare, 16.0);
}
BENCHMARK(memory)->Unit(benchmark::kMillisecond)->Iterations(1);

void allocations(benchmark::State& state) {
  const measure::WorkFolder folder;
  while (state.KeepRunning()) {
    LinesBench run(1);
    for (unsigned int n = 0; n < kMessages / 2; ++n) run.write(n);
    const std::uint64_t before = allocationCount();
    for (unsigned int n = kMessages / 2; n < kMessages; ++n) run.write(n);
    const auto count = static_cast<double>(allocationCount() - before);
    figures::atMost(state, "allocations/point", count / (kPoints / 2), 0.0);
  }
}
BENCHMARK(allocations)->Unit(benchmark::kMillisecond)->Iterations(1);

void residencies(benchmark::State& state) {
  const measure::WorkFolder folder;
  const auto resolution = static_cast<unsigned long long>(state.range(0));
  const std::string variant = " (" + std::to_string(resolution) + " ns)";
  std::vector<double> seconds;
  bool isWritten = true;
  while (state.KeepRunning()) {
    LinesBench run(resolution);
    seconds.push_back(measure::secondsOf([&] {
      for (unsigned int n = 0; n < kMessages; ++n) run.write(n);
      isWritten = run.close() && isWritten;
    }));
    state.SetIterationTime(seconds.back());
  }
  if (!isWritten) return figures::fail(state, "cannot write the file");
  figures::atMost(state, "ns/point" + variant, measure::median(seconds) / kPoints * 1e9, 400.0);
  const auto bytes = static_cast<double>(std::filesystem::file_size("run.lp.gz"));
  figures::atMost(state, "bytes/point" + variant, bytes / kPoints, 9.0);
}
BENCHMARK(residencies)
    ->ArgName("resolution")
    ->Arg(1)
    ->Arg(1000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);

}  // namespace
