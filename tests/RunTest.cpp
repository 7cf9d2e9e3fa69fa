// The parts of a run: the queue between the threads, the sampling times, the totals and tables of
// the summary, and the session that drives the writers.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <thread>

#include "TestSupport.h"
#include "hostcommon/Descriptions.h"
#include "tavrin/CommandError.h"
#include "tavrin/PluginLibrary.h"
#include "tavrin/Session.h"
#include "tavrin/run/ChildProcess.h"
#include "tavrin/run/Sampler.h"
#include "tavrin/summary/SummaryTables.h"
#include "writers/host/Quantity.h"

using namespace tavrin;  // NOLINT: the tests are about this namespace
using pwr::Data;
using Type = pwr::Metric::MetricType;

namespace {

TEST(LatenessHistogram, QuantilesAreWithinAnEighth) {
  LatenessHistogram histogram;
  EXPECT_EQ(histogram.quantile(0.99), 0U);
  std::vector<std::uint64_t> values;
  std::mt19937_64 random(7);
  for (int i = 0; i < 20000; ++i) values.push_back(random() >> (random() % 64));
  values.push_back(std::numeric_limits<std::uint64_t>::max());
  for (const std::uint64_t value : values) histogram.add(value);
  std::sort(values.begin(), values.end());
  for (const double share : {0.01, 0.5, 0.9, 0.99}) {
    const auto index =
        static_cast<std::size_t>(std::ceil(share * static_cast<double>(values.size()))) - 1;
    const auto exact = static_cast<double>(values[index]);
    const auto found = static_cast<double>(histogram.quantile(share));
    EXPECT_GE(found, exact) << share;
    EXPECT_LE(found, exact * 1.126 + 1) << share;
  }
  EXPECT_EQ(histogram.quantile(1.0), values.back());
}

/// Counts its samples; every reading takes `delay`.
class CountingFeature : public Feature {
 public:
  explicit CountingFeature(std::chrono::milliseconds delay)
      : Feature("count", "Count", ""), delay_(delay) {
    metric_ = addMetric(pwr::createMetric({.name = "Count"}));
  }
  std::string probe(const SysRoot& /*root*/, CpuEntities& /*cpus*/, unsigned /*id*/) override {
    return {};
  }
  void sample(unsigned long long now, SampleBatch& batch) override {
    std::this_thread::sleep_for(delay_);
    if (previous_ != 0) {
      batch.add(metric_, previous_)
          .elements.emplace_back(Data(1U), nullptr, nullptr, now - previous_);
    }
    previous_ = now;
  }

 private:
  const pwr::MetricDescription* metric_;
  std::chrono::milliseconds delay_;
  unsigned long long previous_ = 0;
};

/// Samples for 200 ms every 10 ms; reads what arrives only at the end when `slowReader`.
SamplingReport sampleFor(std::chrono::milliseconds readingTime, std::size_t capacity,
                         bool slowReader, unsigned long long& covered) {
  CountingFeature feature(readingTime);
  SampleQueue queue(capacity);
  StopRequest stop;
  Sampler sampler({&feature}, std::chrono::milliseconds(10), queue, stop);
  const auto read = [&](bool untilDone) {
    while (!queue.isDone()) {
      SampleBatch* const batch = queue.beginRead(std::chrono::milliseconds(1));
      if (batch == nullptr && !untilDone && stop.isRequested()) return;
      if (batch == nullptr) continue;
      for (const pwr::Metric& metric : *batch) {
        covered += metric.getData().elements.front().getDuration();
      }
      queue.endRead();
    }
  };
  std::thread timer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    stop.request();
  });
  if (!slowReader) read(false);
  timer.join();
  read(true);
  const SamplingReport report = sampler.join();
  EXPECT_EQ(covered, sampler.stopTicks() - sampler.startTicks()) << "no time may get lost";
  return report;
}

TEST(Sampler, CoversTheWholeTimeWhateverIsLeftOut) {
  using std::chrono::milliseconds;
  unsigned long long covered = 0;
  const SamplingReport good = sampleFor(milliseconds(0), 64, false, covered);
  EXPECT_GT(good.lateness.count(), 5U);
  EXPECT_EQ(good.dropped, 0U);

  covered = 0;
  const SamplingReport overrun = sampleFor(milliseconds(35), 64, false, covered);
  EXPECT_GT(overrun.missed, overrun.lateness.count()) << "each pass overruns three deadlines";

  covered = 0;
  const SamplingReport full = sampleFor(milliseconds(0), 2, true, covered);
  EXPECT_GT(full.dropped, 5U);
}

TEST(ChildProcess, TellsHowTheCommandEnded) {
  const struct {
    std::vector<std::string> command;
    int status;
  } cases[] = {
      {{"true"}, 0},
      {{"sh", "-c", "exit 7"}, 7},
      {{"sh", "-c", "kill -9 $$"}, 137},
      {{"sh", "-c", "kill -PIPE $$; exit 5"}, 141},
  };
  for (const auto& [command, status] : cases) {
    ChildProcess child(command);
    child.start();
    while (!child.hasEnded()) std::this_thread::yield();
    EXPECT_EQ(child.exitStatus(), status) << command.back();
  }
  ChildProcess sleeper({"sleep", "60"});
  sleeper.start();
  sleeper.terminate();
  EXPECT_EQ(sleeper.exitStatus(), 143);
  for (const char* missing : {"no-such-command-here", "/no/such/path", "/etc/passwd", "/tmp"}) {
    EXPECT_THROW(ChildProcess({missing}), CommandError) << missing;
  }
}

/// Prints tables as "title" and "a | b | c" lines.
class TablePrinter {
 public:
  void operator()(const pwr::TableMessage& message) {
    if (message.getTitle() != title_) {
      title_ = message.getTitle();
      text += title_ + "\n";
      line(message.getHandles(),
           [](const pwr::DataHandle* handle) { return handle->getFieldName(); });
    }
    line(message.getCells(), [](const Data& cell) {
      std::string one;
      cell.toFormattedString(one);
      return one;
    });
  }
  std::string text;

 private:
  template <typename Items, typename TextOf>
  void line(const Items& items, const TextOf& textOf) {
    std::string joined;
    for (const auto& item : items) joined += (joined.empty() ? "" : " | ") + textOf(item);
    text += joined + "\n";
  }
  std::string title_;
};

/// Metrics of every kind, on two processors.
struct Machine {
  const pwr::EntityHandle* cpus[2] = {pwr::createEntity({.name = "CPU0"}),
                                      pwr::createEntity({.name = "CPU1"})};
  const pwr::DataDescriptor* states[2] = {
      pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("C1", "")),
      pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("C6", ""))};
  const pwr::Quantity* watts =
      pwr::createQuantity({.type = pwr::QuantityType::Power, .name = "Power", .units = "W"});
  const pwr::Quantity* energy = pwr::createQuantity({.type = pwr::QuantityType::Energy,
                                                     .name = "Energy",
                                                     .units = "mJ",
                                                     .rate = watts,
                                                     .rateFactor = 0.001});
  const pwr::Quantity* entries =
      pwr::createQuantity({.type = pwr::QuantityType::StateEntry, .name = "Entries"});

  static pwr::Metric metric(const std::string& name, Type type, const pwr::Quantity* quantity) {
    const auto group = std::make_shared<const pwr::Field>("Where", pwr::ExpectedAttributeManager());
    return pwr::Metric(pwr::createMetric({.containerId = 4,
                                          .name = name,
                                          .featureTag = "test",
                                          .type = type,
                                          .quantity = quantity,
                                          .descriptorGroup = group}));
  }
};

TEST(SummaryTables, OneFormPerKindOfMetric) {
  const Machine m;
  constexpr unsigned long long kSecond = 1'000'000'000;
  SummaryTables tables;
  const auto add = [&](pwr::Metric metric, std::vector<std::vector<pwr::DataElement>> samples) {
    for (auto& elements : samples) {
      metric.editData().elements = std::move(elements);
      tables.add(metric);
    }
  };
  const auto count = [](unsigned long long value) { return Data(value); };
  add(Machine::metric("Idle", Type::SampledResidency, pwr::Quantity::time()),
      {{{count(kSecond), m.states[0], m.cpus[0], 2 * kSecond},
        {count(0), m.states[1], m.cpus[0], 2 * kSecond},
        {count(kSecond), m.states[1], m.cpus[1], 2 * kSecond}},
       {{count(kSecond), m.states[0], m.cpus[0], 2 * kSecond}}});
  add(Machine::metric("Entries", Type::SampledDelta, m.entries),
      {{{count(3), m.states[0], m.cpus[1], kSecond}},
       {{count(4), m.states[0], m.cpus[1], kSecond}}});
  add(Machine::metric("Energy", Type::SampledDelta, m.energy),
      {{{Data(1500.5), nullptr, m.cpus[0], kSecond}},
       {{Data(500.0), nullptr, m.cpus[0], kSecond}}});
  add(Machine::metric("Faults", Type::SampledDelta, nullptr),
      {{{count(3), m.states[0], nullptr, kSecond}}});
  add(Machine::metric("Volts", Type::SampledValue, nullptr),
      {{{Data(-1.0), m.states[0], m.cpus[0], 0}}, {{Data(2.0), m.states[0], m.cpus[0], 0}}});
  add(Machine::metric("Mode", Type::TracedValueTransition, nullptr),
      {{{Data("on"), nullptr, m.cpus[0], kSecond}},
       {{Data("off"), nullptr, m.cpus[0], kSecond}},
       {{Data("on"), nullptr, m.cpus[0], kSecond}, {Data(), nullptr, m.cpus[0], kSecond}}});
  add(Machine::metric("Nothing", Type::SampledValue, nullptr), {{}});
  TablePrinter printer;
  unsigned int ownContainer = 0;
  tables.deliver(
      1000.0, [&](const auto& info) { ownContainer = info.getContainerId(); },
      [&](const pwr::TableMessage& message) { printer(message); });
  EXPECT_EQ(ownContainer, 5U);
  EXPECT_EQ(printer.text,
            "Idle Summary: Residency (Percentage and Time)\n"
            "Where | C1 (%) | C6 (%) | C1 (ms) | C6 (ms)\n"
            "CPU0 | 50.00 | 0.00 | 2000000000 | 0\n"
            "CPU1 | n/a | 50.00 | n/a | 1000000000\n"
            "Entries Summary: Entry Counts\n"
            "Where | C1\n"
            "CPU1 | 7\n"
            "Energy Summary: Average Rate and Total\n"
            "Where | Average Rate (W) | Total (mJ)\n"
            "CPU0 | 1.00 | 2000.50\n"
            "Faults Summary: Total\n"
            "Where | Total\n"
            "C1 | 3\n"
            "Volts Summary: Sampled Values\n"
            "Where | Minimum | Average | Maximum | Samples\n"
            "CPU0 C1 | -1.00 | 0.50 | 2.00 | 2\n"
            "Mode Summary: Counts\n"
            "Where | Value | Count | Time (ms)\n"
            "CPU0 | on | 2 | 2000000000\n"
            "CPU0 | off | 1 | 1000000000\n"
            "Nothing Summary: Sampled Values\n"
            "Where | Minimum | Average | Maximum | Samples\n"
            "\n"
            "Collection Summary: Total Samples Received\n"
            "Metric | Feature | Samples | Values\n"
            "Idle | test | 2 | 4\n"
            "Entries | test | 2 | 2\n"
            "Energy | test | 2 | 2\n"
            "Faults | test | 1 | 1\n"
            "Volts | test | 2 | 2\n"
            "Mode | test | 3 | 3\n"
            "Nothing | test | 1 | 0\n");
}

TEST(Session, LeavesOutWhatIsNotFinite) {
  const LogCapture log;
  const Machine m;
  Session session({}, nullptr);
  pwr::Metric metric = Machine::metric("Volts", Type::SampledValue, nullptr);
  for (int i = 0; i < 2; ++i) {
    metric.editData().elements = {{Data(std::nan("")), nullptr, nullptr, 0},
                                  {Data(1.0), nullptr, nullptr, 0},
                                  {Data(Data::RealPair(0, HUGE_VAL)), nullptr, nullptr, 0}};
    session.metric(metric);
    EXPECT_EQ(metric.getData().elements.size(), 1U);
  }
  EXPECT_EQ(
      log.general(),
      "tavrin: warning: a value of metric 'Volts' is not finite and is left out; further ones "
      "are left out silently\n");
}

TEST(PluginLibrary, IsLoadedAndChecked) {
  const PluginLibrary library(PW_PLUGIN_LIBRARY);
  EXPECT_EQ(library.select({"all"}).size(), library.writers().size());
  EXPECT_EQ(library.select({"sum"}).front(), library.writers().front());
  try {
    library.select({"sum", "nonsense"});
    FAIL() << "an unknown name must be refused";
  } catch (const CommandError& error) {
    EXPECT_EQ(error.status(), kExitUsage);
    EXPECT_EQ(std::string(error.what()).find("unknown writer 'nonsense'; known are: sum, "), 0U);
  }
  EXPECT_THROW(PluginLibrary("/no/such/library.so"), CommandError);
  EXPECT_THROW(PluginLibrary("libm.so.6"), CommandError);
}

}  // namespace
