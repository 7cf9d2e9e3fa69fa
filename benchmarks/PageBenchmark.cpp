// What the writer html costs for a run that does not fit a page as it is: from the messages to the
// closed file, against one plain write of the ".ztbin" file of the same run. Then the memory that
// it needs beside what the process has already, and the size of the page.
//
//   page/plain  at most 8
//   MiB         at most 64

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>
#include <vector>

#include "benchmarks/Figures.h"
#include "benchmarks/Measure.h"
#include "exporters/html/HtmlWriter.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"
#include "writers/continuous/BinaryWriter.h"

namespace {

constexpr unsigned int kPoints = 10'000'000;
constexpr unsigned int kSeries = 64;
constexpr unsigned int kRounds = kPoints / kSeries;
constexpr unsigned long long kInterval = 10'000'000;  // ticks of a 1000 MHz clock
constexpr double kPageBytes = 3e6;

const pwr::SystemMetadata& describedSystem() {
  static const pwr::SystemMetadata system(pwr::SystemDescription{
      .timestampClockFrequencyMHz = 1000, .collectionStopTimestamp = kRounds * kInterval});
  return system;
}

/// Values of 64 CPUs that wander, so that no two bins are the same.
class WanderingRun {
 public:
  WanderingRun() {
    const pwr::DataDescriptor* const descriptor =
        pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("Value", ""));
    pwr::MetricDescription description{.name = "Benchmark"};
    std::vector<const pwr::EntityHandle*> cpus;
    for (unsigned int n = 0; n < kSeries; ++n) {
      cpus.push_back(pwr::createEntity({.name = "CPU" + std::to_string(n), .level = "Thread"}));
      description.combinations.push_back({cpus.back(), descriptor});
    }
    metric_.emplace_back(pwr::createMetric(std::move(description)));
    for (unsigned int n = 0; n < kSeries; ++n) {
      metric_.front().editData().elements.emplace_back(pwr::Data(0.0), descriptor, cpus[n],
                                                       kInterval);
    }
  }

  bool write(WriterPlugin& writer) {
    if (writer.openOutput("run", false) != 0) return false;
    WriterDispatch::write(writer, pwr::SystemMessage(&describedSystem()));
    pwr::Metric& metric = metric_.front();
    std::uint32_t random = 1;
    for (unsigned int round = 0; round < kRounds; ++round) {
      metric.editData().timestamp = round * kInterval;
      for (pwr::DataElement& element : metric.editData().elements) {
        random = random * 1664525U + 1013904223U;
        element.editValue().set(static_cast<double>(round % 5000) + (random >> 16U) / 64.0);
      }
      WriterDispatch::write(writer, metric);
    }
    return writer.closeOutput() == 0;
  }

 private:
  std::vector<pwr::Metric> metric_;
};

bool writePage(WanderingRun& run) {
  HtmlWriter writer;
  return run.write(writer);
}

// First: what others leave behind would hide what is needed.
void pageMemory(benchmark::State& state) {
  const measure::WorkFolder folder;
  WanderingRun run;
  while (state.KeepRunning()) {
    const double before = measure::peakMemoryOf([] { return true; });
    const double peak = measure::peakMemoryOf([&] { return writePage(run); });
    if (peak < 0.0) return figures::fail(state, "cannot write the page");
    figures::atMost(state, "MiB", peak - before, 64.0);
    figures::atMost(state, "bytes", static_cast<double>(std::filesystem::file_size("run.html")),
                    kPageBytes);
  }
}
BENCHMARK(pageMemory)->Iterations(1);

void pageAgainstPlainWrite(benchmark::State& state) {
  const measure::WorkFolder folder;
  WanderingRun run;
  BinaryWriter binary;
  bool isWritten = run.write(binary);
  const std::vector<char> bytes(std::filesystem::file_size("run.ztbin"), 'x');
  measure::Pairs pairs;
  while (state.KeepRunning()) {
    for (const char* name : {"run.html", "run.ztbin"}) std::filesystem::remove(name);
    state.SetIterationTime(
        pairs.add([&] { isWritten = writePage(run) && isWritten; },
                  [&] { isWritten = measure::writePlainly("run.ztbin", bytes) && isWritten; }));
  }
  if (!isWritten) return figures::fail(state, "cannot write the files");
  state.counters["ns/point"] = pairs.seconds() / kPoints * 1e9;
  figures::atMost(state, "page/plain", pairs.ratio(), 8.0);
}
BENCHMARK(pageAgainstPlainWrite)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace
