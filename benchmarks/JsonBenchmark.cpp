// How long the JSON writer takes from the first message to the closed file, against a bare loop
// that writes the same points with the RapidJSON Writer into a buffer: no file, no model. Then what
// it needs of memory, for a trace of the whole run and for the numbered files.
//
//   json/loop          at most 1.1
//   allocations/point  0, but for the growth of its buffers
//   bytes/point        at most 40

#include <benchmark/benchmark.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <filesystem>
#include <string>
#include <vector>

#include "benchmarks/Figures.h"
#include "benchmarks/Measure.h"
#include "benchmarks/PointMemory.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/Platform.h"
#include "hostcommon/WriterDispatch.h"
#include "writers/continuous/JSONWriter.h"

namespace {

constexpr unsigned int kContainers = 64;
constexpr unsigned int kSamples = 15'625;
constexpr unsigned int kPoints = kContainers * kSamples;
constexpr unsigned int kTicksPerSample = 10'000'000;  // 10 ms
constexpr unsigned int kMicrosecondsPerSample = 10'000;
constexpr float kTicksPerMicrosecond = 1000.0F;

double valueOf(unsigned int sample, unsigned int container) {
  return 800.0 + (sample * 7919 + container * 104729) % 400000 / 100.0;
}

const pwr::MetricDescription* makeMetric() {
  pwr::MetricDescription metric{.name = "Frequency"};
  metric.quantity = pwr::createQuantity(
      {.type = pwr::QuantityType::Frequency, .name = "Frequency", .units = "MHz"});
  const auto* descriptor = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("Frequency", ""));
  for (unsigned int i = 0; i < kContainers; ++i) {
    const auto* entity = pwr::createEntity({.name = "CPU" + std::to_string(i)});
    metric.combinations.push_back({entity, descriptor});
  }
  return pwr::createMetric(std::move(metric));
}

std::vector<pwr::DataElement> makeElements(const pwr::Metric& metric) {
  const pwr::Data unset(0.0);
  std::vector<pwr::DataElement> elements;
  elements.reserve(kContainers);
  for (const auto& [entity, descriptor] : metric.getEntityDescriptorCombinations()) {
    elements.push_back(pwr::DataElement(unset, descriptor, entity, kTicksPerSample));
  }
  return elements;
}

void sendSamples(WriterPlugin& writer, pwr::Metric& message) {
  std::vector<pwr::DataElement>& elements = message.editData().elements;
  for (unsigned int sample = 0; sample < kSamples; ++sample) {
    message.editData().timestamp = static_cast<unsigned long long>(sample) * kTicksPerSample;
    for (unsigned int i = 0; i < kContainers; ++i) {
      elements[i].setValue(pwr::Data(valueOf(sample, i)));
    }
    WriterDispatch::write(writer, message);
  }
}

void open(JSONWriter& writer, const std::string& baseName, bool continuous) {
  static const pwr::SystemMetadata system({.tscFrequencyMHz = kTicksPerMicrosecond});
  writer.openOutput(baseName, continuous);
  WriterDispatch::write(writer, pwr::SystemMessage(&system));
}

int writeTrace(JSONWriter& writer, const std::string& baseName, pwr::Metric& message) {
  open(writer, baseName, false);
  sendSamples(writer, message);
  return writer.closeOutput();
}

/// Returns the number of bytes.
std::size_t writeBareLoop() {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> json(buffer);
  json.StartObject();
  for (unsigned int i = 0; i < kContainers; ++i) {
    const std::string name = "CPU" + std::to_string(i);
    json.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
    json.StartArray();
    for (unsigned int sample = 0; sample < kSamples; ++sample) {
      const unsigned long long start = sample * 1ULL * kMicrosecondsPerSample;
      json.StartObject();
      json.Key("x", 1);
      json.Uint64(start);
      json.Key("x1", 2);
      json.Uint64(start + kMicrosecondsPerSample);
      json.Key("y", 1);
      json.Double(valueOf(sample, i));
      json.EndObject();
    }
    json.EndArray();
  }
  json.EndObject();
  benchmark::DoNotOptimize(buffer.GetString());
  return buffer.GetSize();
}

void traceAgainstBareLoop(benchmark::State& state) {
  const measure::WorkFolder folder;
  pwr::Metric message(makeMetric());
  message.editData().elements = makeElements(message);
  measure::Pairs pairs;
  bool isWritten = true;
  std::size_t loopBytes = 0;
  while (state.KeepRunning()) {
    // A new file each time: emptying the one before is no part of writing.
    std::filesystem::remove("trace.ztjson");
    JSONWriter writer;
    state.SetIterationTime(
        pairs.add([&] { isWritten = writeTrace(writer, "trace", message) == 0 && isWritten; },
                  [&] { loopBytes = writeBareLoop(); }));
  }
  // The trace says what the loop says, rounded times aside, and a head of its own.
  if (!isWritten || std::filesystem::file_size("trace.ztjson") < loopBytes * 9 / 10) {
    return figures::fail(state, "cannot write the trace");
  }
  state.counters["ns/point"] = pairs.seconds() / kPoints * 1e9;
  figures::atMost(state, "json/loop", pairs.ratio(), 1.1);
}
BENCHMARK(traceAgainstBareLoop)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(15);

void jsonMemory(benchmark::State& state) {
  pwr::Metric message(makeMetric());
  message.editData().elements = makeElements(message);
  while (state.KeepRunning()) {
    JSONWriter writer;
    open(writer, "never written", state.range(0) != 0);
    countPointMemory(state, kPoints, 40.0, [&] { sendSamples(writer, message); });
  }
}
BENCHMARK(jsonMemory)->ArgName("continuous")->Arg(0)->Arg(1)->Iterations(1);

}  // namespace
