// What a replay of 60 MB of samples into the summary costs, from the start of the command to the
// complete report, against a bare parse of the same bytes by the same library, which keeps nothing
// of them:
//   replay/parse         at most 2

#include <rapidjson/filereadstream.h>
#include <rapidjson/reader.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "benchmarks/Figures.h"
#include "benchmarks/Measure.h"
#include "hostcommon/Descriptions.h"
#include "tavrin/stream/StreamWriter.h"

namespace {

constexpr std::uintmax_t kBytes = 60'000'000;
constexpr unsigned int kCpus = 8;
constexpr unsigned int kStates = 4;
constexpr unsigned int kTicksPerSample = 100'000'000;  // 100 ms
constexpr const char* kStream = "samples.jsonl";

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

/// What live collection delivers most of: the sleep states of each CPU, and a frequency of each.
class Samples {
 public:
  Samples() {
    pwr::MetricDescription states{.name = "CPU C-State",
                                  .featureTag = "core-cstate",
                                  .type = pwr::Metric::MetricType::SampledResidency,
                                  .quantity = pwr::Quantity::time()};
    pwr::MetricDescription speed{.name = "CPU Frequency", .featureTag = "cpu-freq"};
    speed.quantity = pwr::createQuantity(
        {.type = pwr::QuantityType::Frequency, .name = "Frequency", .units = "MHz"});
    const auto* const value = pwr::DataDescriptor::create({"Frequency", ""});
    for (unsigned int n = 0; n < kCpus; ++n) {
      const auto* const cpu =
          pwr::createEntity({.name = "CPU" + std::to_string(n), .level = "Thread"});
      for (unsigned int state = 0; state < kStates; ++state) {
        states.combinations.push_back(
            {cpu, pwr::DataDescriptor::create({"C" + std::to_string(state), ""})});
      }
      speed.combinations.push_back({cpu, value});
    }
    residency_ = std::make_unique<pwr::Metric>(pwr::createMetric(std::move(states)));
    frequency_ = std::make_unique<pwr::Metric>(pwr::createMetric(std::move(speed)));
  }

  void write(pwr::MessageSink& sink, unsigned int sample) {
    fill(*residency_, sample, [&](unsigned int n) {
      return pwr::Data((sample * 7919ULL + n * 104729ULL) % (kTicksPerSample / kStates));
    });
    fill(*frequency_, sample, [&](unsigned int n) {
      return pwr::Data(800.0 + (sample * 7919 + n * 104729) % 400000 / 100.0);
    });
    sink.metric(*residency_);
    sink.metric(*frequency_);
  }

 private:
  template <typename ValueOf>
  static void fill(pwr::Metric& metric, unsigned int sample, const ValueOf& valueOf) {
    metric.editData().timestamp = sample * 1ULL * kTicksPerSample;
    metric.editData().elements.clear();
    unsigned int n = 0;
    for (const auto& [cpu, descriptor] : metric.getEntityDescriptorCombinations()) {
      metric.editData().elements.emplace_back(valueOf(n++), descriptor, cpu, kTicksPerSample);
    }
  }

  std::unique_ptr<pwr::Metric> residency_;
  std::unique_ptr<pwr::Metric> frequency_;
};

bool writeStream() {
  const File file(std::fopen(kStream, "wb"), std::fclose);
  if (file == nullptr) return false;
  const pwr::SystemMetadata system(
      {.tscFrequencyMHz = 1000.0F, .timestampClockFrequencyMHz = 1000});
  tavrin::StreamWriter writer(file.get());
  Samples samples;
  writer.system(system);
  for (unsigned int n = 0; static_cast<std::uintmax_t>(std::ftell(file.get())) < kBytes; ++n) {
    samples.write(writer, n);
  }
  return writer.close() == 0;
}

bool replay() {
  return std::system("'" PW_TAVRIN "' report -w sum -o replay samples.jsonl 2>/dev/null") == 0 &&
         std::filesystem::file_size("replay.csv") > 0;
}

bool parse() {
  const File file(std::fopen(kStream, "rb"), std::fclose);
  if (file == nullptr) return false;
  std::string buffer(0x10000, '\0');
  rapidjson::FileReadStream stream(file.get(), buffer.data(), buffer.size());
  rapidjson::BaseReaderHandler<> nothing;
  rapidjson::Reader reader;
  constexpr unsigned int kFlags = rapidjson::kParseStopWhenDoneFlag;
  while (!reader.Parse<kFlags>(stream, nothing).IsError()) {
  }
  // What ends the last round is that nothing follows.
  return reader.GetParseErrorCode() == rapidjson::kParseErrorDocumentEmpty &&
         stream.Tell() >= kBytes;
}

void replayAgainstParse(benchmark::State& state) {
  const measure::WorkFolder folder;
  if (!writeStream()) return figures::fail(state, "cannot write the stream");
  measure::Pairs pairs;
  bool isSound = true;
  while (state.KeepRunning()) {
    state.SetIterationTime(
        pairs.add([&] { isSound = replay() && isSound; }, [&] { isSound = parse() && isSound; }));
  }
  if (!isSound) figures::fail(state, "the replay or the parse failed");
  figures::atMost(state, "replay/parse", pairs.ratio(), 2);
}
BENCHMARK(replayAgainstParse)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace
