// What the binary writer costs per data point, from the message to the closed file, against one
// plain write of the same bytes: the write is the least that any way of keeping them has to do.
// Then what it needs of memory.
//
//   binary/plain       at most 2.6 with 64 points in a message, 3.5 with one
//   allocations/point  0, but for the growth of its buffers
//   bytes/point        at most 32

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>
#include <vector>

#include "benchmarks/Figures.h"
#include "benchmarks/Measure.h"
#include "benchmarks/PointMemory.h"
#include "formats/ztbin_format.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/Platform.h"
#include "hostcommon/WriterDispatch.h"
#include "writers/continuous/BinaryWriter.h"

namespace {

constexpr unsigned int kPoints = 5'000'000;
constexpr unsigned int kSeries = 64;

/// Messages of `elementsPerMessage` points each that together have one point of every series.
std::vector<pwr::Metric> makeMessages(unsigned int elementsPerMessage) {
  const pwr::DataDescriptor* const descriptor =
      pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("Value", ""));
  std::vector<const pwr::EntityHandle*> cpus;
  pwr::MetricDescription description{.name = "Benchmark"};
  for (unsigned int n = 0; n < kSeries; ++n) {
    cpus.push_back(pwr::createEntity({.name = "CPU" + std::to_string(n)}));
    description.combinations.push_back({cpus.back(), descriptor});
  }
  const pwr::MetricDescription* const metric = pwr::createMetric(std::move(description));
  std::vector<pwr::Metric> messages;
  pwr::Data value(1e6);
  for (unsigned int n = 0; n < kSeries; ++n) {
    if (n % elementsPerMessage == 0) messages.emplace_back(metric);
    value.multiplyValue(0.5);
    messages.back().editData().elements.emplace_back(value, descriptor, cpus[n], 100'000'000);
  }
  return messages;
}

void open(BinaryWriter& writer, const std::string& base) {
  static const pwr::SystemMetadata system(pwr::SystemDescription{.tscFrequencyMHz = 1000.0F});
  writer.openOutput(base, false);
  WriterDispatch::write(writer, pwr::SystemMessage(&system));
}

void sendPoints(BinaryWriter& writer, std::vector<pwr::Metric>& messages) {
  for (unsigned int n = 0; n < kPoints / kSeries; ++n) {
    for (pwr::Metric& message : messages) {
      message.editData().timestamp = n * 100'000'000ULL;
      WriterDispatch::write(writer, message);
    }
  }
}

bool writeRun(const std::string& base, std::vector<pwr::Metric>& messages) {
  BinaryWriter writer;
  open(writer, base);
  sendPoints(writer, messages);
  return writer.closeOutput() == 0;
}

void binaryAgainstPlainWrite(benchmark::State& state) {
  const measure::WorkFolder folder;
  const auto pointsPerMessage = static_cast<unsigned int>(state.range(0));
  auto messages = makeMessages(pointsPerMessage);
  bool isWritten = writeRun("run", messages);
  const std::vector<char> bytes(std::filesystem::file_size("run.ztbin"), 'x');
  if (bytes.size() < kPoints * ztbin::point_record::kSize) isWritten = false;
  measure::Pairs pairs;
  while (state.KeepRunning()) {
    for (const char* name : {"run.ztbin", "plain"}) std::filesystem::remove(name);
    state.SetIterationTime(
        pairs.add([&] { isWritten = writeRun("run", messages) && isWritten; },
                  [&] { isWritten = measure::writePlainly("plain", bytes) && isWritten; }));
  }
  if (!isWritten) return figures::fail(state, "cannot write the files");
  state.counters["ns/point"] = pairs.seconds() / kPoints * 1e9;
  figures::atMost(state, "binary/plain (" + std::to_string(pointsPerMessage) + ")", pairs.ratio(),
                  pointsPerMessage == 1 ? 3.5 : 2.6);
}
BENCHMARK(binaryAgainstPlainWrite)
    ->ArgName("elements_per_message")
    ->Arg(64)
    ->Arg(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(11);

void binaryMemory(benchmark::State& state) {
  auto messages = makeMessages(static_cast<unsigned int>(state.range(0)));
  while (state.KeepRunning()) {
    BinaryWriter writer;
    open(writer, "never written");
    countPointMemory(state, kPoints, 32.0, [&] { sendPoints(writer, messages); });
  }
}
BENCHMARK(binaryMemory)->ArgName("elements_per_message")->Arg(64)->Arg(1)->Iterations(1);

}  // namespace
