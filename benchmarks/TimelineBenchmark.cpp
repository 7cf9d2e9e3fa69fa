// What the timeline writer costs per sample of a residency, from the message to the closed file,
// against one plain write of the same bytes:
//   timeline/plain       at most 4
//   peak_MiB             below 32, however many samples there are, and however many texts
//   allocations/sample   0

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>
#include <vector>

#include "benchmarks/AllocationCount.h"
#include "benchmarks/Figures.h"
#include "benchmarks/Measure.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"
#include "writers/timeline/KorvellWriter.h"

namespace {

constexpr unsigned int kSamples = 2'000'000;
constexpr unsigned int kEntities = 4;
constexpr unsigned int kStates = 4;
constexpr unsigned int kSamplesPerMessage = kEntities * kStates;
constexpr std::size_t kBytesPerSample = 22 + 7 * 12;

/// One residency metric, a sample of which has every state of every entity.
const pwr::Metric& residency() {
  static const pwr::Metric metric = [] {
    pwr::MetricDescription description{.name = "CPU C-State",
                                       .featureTag = "core-cstate",
                                       .type = pwr::Metric::MetricType::SampledResidency,
                                       .quantity = pwr::Quantity::time()};
    for (unsigned int entity = 0; entity < kEntities; ++entity) {
      const auto* const cpu =
          pwr::createEntity({.name = "CPU" + std::to_string(entity), .level = "Thread"});
      for (unsigned int state = 0; state < kStates; ++state) {
        description.combinations.push_back(
            {cpu, pwr::DataDescriptor::create({"C" + std::to_string(state), ""})});
      }
    }
    const pwr::Data ticks(25'000'000U);
    pwr::Metric sample(pwr::createMetric(description));
    for (const auto& [cpu, state] : description.combinations) {
      sample.editData().elements.emplace_back(ticks, state, cpu, 100'000'000U);
    }
    return sample;
  }();
  return metric;
}

/// A run of the writer in the current folder.
class WriterRun {
 public:
  WriterRun() {
    static const pwr::SystemMetadata system(
        pwr::SystemDescription{.tscFrequencyMHz = 1000.0F, .cpuFrequencyMHz = 1000.0F});
    writer_.openOutput("run", false);
    WriterDispatch::write(writer_, pwr::SystemMessage(&system));
  }

  /// Events, each with a text of its own.
  void writeTexts(unsigned int events) {
    pwr::Metric event(pwr::createMetric(
        {.name = "Wakes", .featureTag = "wake", .type = pwr::Metric::MetricType::TracedEvent}));
    for (unsigned int n = 0; n < events; ++n) {
      const pwr::Data text("what woke it, for the time number " + std::to_string(n));
      event.editData() = {n, {pwr::DataElement(text, nullptr, nullptr, 0)}};
      WriterDispatch::write(writer_, event);
    }
  }

  void write(unsigned int samples) {
    for (unsigned int n = 0; n < samples; n += kSamplesPerMessage) {
      message_.editData().timestamp += 100'000'000U;
      WriterDispatch::write(writer_, message_);
    }
  }

  bool close() { return writer_.closeOutput() == 0; }

 private:
  KorvellWriter writer_;
  pwr::Metric message_ = residency();
};

// First, because a child begins with what its parent holds.
void memory(benchmark::State& state, void (WriterRun::*write)(unsigned int), const char* what) {
  const measure::WorkFolder folder;
  double peak = 0.0;
  while (state.KeepRunning()) {
    peak = measure::peakMemoryOf([&] {
      WriterRun run;
      (run.*write)(static_cast<unsigned int>(state.range(0)));
      return run.close();
    });
  }
  if (peak < 0) return figures::fail(state, "the timeline failed");
  figures::atMost(state, "peak_MiB (" + std::to_string(state.range(0)) + what + ")", peak, 32);
}
BENCHMARK_CAPTURE(memory, samples, &WriterRun::write, "")
    ->Arg(kSamples)
    ->Arg(5 * kSamples)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(memory, texts, &WriterRun::writeTexts, " texts")
    ->Arg(1'000'000)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

void allocations(benchmark::State& state) {
  const measure::WorkFolder folder;
  while (state.KeepRunning()) {
    WriterRun run;
    run.write(kSamples / 4);
    const std::uint64_t before = allocationCount();
    run.write(kSamples / 4);
    figures::atMost(state, "allocations/sample",
                    static_cast<double>(allocationCount() - before) / (kSamples / 4), 0);
  }
}
BENCHMARK(allocations)->Iterations(1)->Unit(benchmark::kMillisecond);

bool writeRun() {
  WriterRun run;
  run.write(kSamples);
  return run.close();
}

void timelineAgainstPlainWrite(benchmark::State& state) {
  const measure::WorkFolder folder;
  bool isWritten = writeRun();
  const std::vector<char> bytes(std::filesystem::file_size("run.pwr"), 'x');
  if (bytes.size() < kSamples * kBytesPerSample) isWritten = false;
  measure::Pairs pairs;
  while (state.KeepRunning()) {
    for (const char* name : {"run.pwr", "plain"}) std::filesystem::remove(name);
    state.SetIterationTime(
        pairs.add([&] { isWritten = writeRun() && isWritten; },
                  [&] { isWritten = measure::writePlainly("plain", bytes) && isWritten; }));
  }
  if (!isWritten) return figures::fail(state, "cannot write the files");
  state.counters["ns/sample"] = pairs.seconds() / kSamples * 1e9;
  figures::atMost(state, "timeline/plain", pairs.ratio(), 4);
}
BENCHMARK(timelineAgainstPlainWrite)->UseManualTime()->Iterations(9)->Unit(benchmark::kMillisecond);

}  // namespace
