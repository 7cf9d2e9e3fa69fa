// The live values as Prometheus has them: which series messages make, and how long they stay.

#include <gtest/gtest.h>
#include <prometheus/text_serializer.h>

#include <cmath>
#include <limits>
#include <thread>

#include "hostcommon/Descriptions.h"
#include "tavrin/serve/LiveFamilies.h"
#include "tavrin/serve/LiveMetrics.h"
#include "writers/host/Process.h"
#include "writers/host/Quantity.h"

namespace tavrin {
namespace {

using Type = pwr::Metric::MetricType;

constexpr unsigned long long kSecond = 1'000'000'000;

const pwr::DataDescriptor* descriptor(const std::string& name) {
  return pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name, ""));
}

std::shared_ptr<const pwr::Field> group(const char* name) {
  return std::make_shared<const pwr::Field>(name);
}

const pwr::Quantity* quantity(pwr::QuantityType type, const char* units) {
  return pwr::createQuantity({.type = type, .name = "Some", .units = units});
}

const pwr::MetricDescription* metric(const char* name, Type type, const pwr::Quantity* quantity,
                                     const char* descriptors = nullptr) {
  return pwr::createMetric(
      {.name = name,
       .featureTag = "some",
       .type = type,
       .quantity = quantity,
       .descriptorGroup = descriptors == nullptr ? nullptr : group(descriptors)});
}

/// Drives the families with messages of one element each.
class Live {
 public:
  explicit Live(LiveFamilies::Limits limits = {}) : families_(kSecond, limits) {}

  /// `seconds`: what the element lasts.
  void add(const pwr::MetricDescription* description, pwr::Data value,
           const pwr::EntityHandle* entity = nullptr,
           const pwr::DataDescriptor* descriptor = nullptr, unsigned long long seconds = 1,
           const char* process = nullptr) {
    pwr::Metric message(description);
    pwr::DataElement element(std::move(value), descriptor, entity, seconds * kSecond);
    if (process != nullptr) {
      static const pwr::Attribute* const name = pwr::Attribute::create(
          std::string(pwr::kProcessAttribute), nullptr, pwr::AttributeType::String);
      auto attributes = std::make_shared<pwr::AttributeValueManager>();
      attributes->addAttributeValue(name, pwr::Data(process));
      element.setAttributes(attributes);
    }
    message.editData().elements.push_back(std::move(element));
    families_.add(message, now_);
  }

  /// Ends passes, one a second, without further messages.
  void pass(unsigned long long seconds) {
    for (; seconds > 0; --seconds) families_.endPass(now_ += kSecond);
  }

  /// The samples, a line each, without comments.
  std::string samples() const {
    std::string text;
    std::istringstream lines(prometheus::TextSerializer().Serialize(families_.collect()));
    for (std::string line; std::getline(lines, line);) {
      if (!line.starts_with('#')) text += line + "\n";
    }
    return text;
  }
  const LiveFamilies& families() const { return families_; }

 private:
  LiveFamilies families_;
  unsigned long long now_ = 0;
};

struct Machine {
  const pwr::EntityHandle* package = pwr::createEntity({.name = "Package0", .level = "Package"});
  const pwr::EntityHandle* core =
      pwr::createEntity({.name = "Core0", .level = "Core", .parent = package});
  const pwr::EntityHandle* cpu =
      pwr::createEntity({.name = "CPU0", .level = "Thread", .parent = core});
  const pwr::EntityHandle* zone = pwr::createEntity({.name = "soc", .level = "Thermal Zone"});
};

TEST(LiveFamilies, TellsEachKindOfMetricInBaseUnits) {
  const Machine machine;
  const pwr::Quantity* const state = quantity(pwr::QuantityType::State, "");
  const pwr::MetricDescription* const traced =
      pwr::createMetric({.name = "Idle",
                         .type = Type::TracedValueTransition,
                         .quantity = state,
                         .finiteSet = {pwr::Data("C1"), pwr::Data("C6")}});
  struct Case {
    const pwr::MetricDescription* metric;
    pwr::Data value;
    const pwr::EntityHandle* entity;
    const char* descriptor;
    unsigned long long seconds;
    const char* expected;
  };
  const Case cases[] = {
      {metric("CPU C-State", Type::SampledResidency, pwr::Quantity::time(), "C-State"),
       pwr::Data(250'000'000), machine.cpu, "C6", 1,
       "tavrin_cpu_c_state_seconds_total{package=\"Package0\",core=\"Core0\",cpu=\"CPU0\","
       "state=\"C6\"} 0.25\n"},
      {metric("Energy", Type::SampledDelta, quantity(pwr::QuantityType::Energy, "mJ")),
       pwr::Data(1500.0), machine.zone, "Energy", 1,
       "tavrin_energy_joules_total{thermal_zone=\"soc\"} 1.5\n"},
      {metric("Sources", Type::SampledDelta, quantity(pwr::QuantityType::Count, "count"), "Source"),
       pwr::Data(7), nullptr, "eth0", 1, "tavrin_sources_total{source=\"eth0\"} 7\n"},
      {metric("Frequency", Type::SampledValue, quantity(pwr::QuantityType::Frequency, "MHz")),
       pwr::Data(2600), machine.package, nullptr, 1,
       "tavrin_frequency_hertz{package=\"Package0\"} 2600000000\n"},
      {metric("Data Rate", Type::SampledDelta, quantity(pwr::QuantityType::Rate, "B/s")),
       pwr::Data(7), nullptr, nullptr, 1, "tavrin_data_rate_bytes_per_second 7\n"},
      {metric("Charge", Type::SampledValue, state), pwr::Data("Full"), nullptr, nullptr, 1,
       "tavrin_charge{state=\"Full\"} 1\n"},
      {metric("Status", Type::TracedValueTransition, state, "Descriptor"), pwr::Data("active"),
       machine.zone, "State", 0, "tavrin_status{thermal_zone=\"soc\",state=\"active\"} 1\n"},
      {traced, pwr::Data("C6"), machine.package, nullptr, 2,
       "tavrin_idle_seconds_total{package=\"Package0\",state=\"C6\"} 2\n"
       "tavrin_idle_changes_total{package=\"Package0\",state=\"C6\"} 1\n"},
      {metric("Task", Type::TracedValueTransition, state), pwr::Data("make"), machine.package,
       nullptr, 2, "tavrin_task_changes_total{package=\"Package0\"} 1\n"},
      {metric("Forks", Type::TracedEvent, state), pwr::Data("fork"), nullptr, nullptr, 0,
       "tavrin_forks_total 1\n"},
  };
  for (const Case& one : cases) {
    Live live;
    live.add(one.metric, one.value, one.entity,
             one.descriptor == nullptr ? nullptr : descriptor(one.descriptor), one.seconds);
    EXPECT_EQ(live.samples(), one.expected);
  }
}

TEST(LiveFamilies, CountersGrowAndValuesAreTheLastOnes) {
  Live live;
  const auto* const counter = metric("Counter", Type::SampledDelta, nullptr);
  const auto* const gauge = metric("Gauge", Type::SampledValue, nullptr);
  const auto* const state =
      metric("State", Type::SampledValue, quantity(pwr::QuantityType::State, ""));
  for (const double value : {5.0, 2.0, -1.0, 0.0}) {
    live.add(counter, pwr::Data(value));
    live.add(gauge, pwr::Data(value));
    live.add(state, pwr::Data(value));
  }
  for (const double value : {std::nan(""), std::numeric_limits<double>::infinity()}) {
    live.add(counter, pwr::Data(value));
    live.add(gauge, pwr::Data(value));
  }
  live.add(gauge, pwr::Data());
  EXPECT_EQ(live.samples(),
            "tavrin_counter_total 7\ntavrin_gauge 0\ntavrin_state{state=\"0\"} 1\n");
}

TEST(LiveFamilies, AddsSmallGrowthToALargeSum) {
  GrowingSum sum;
  sum.add(0x1p53);
  double before = sum.value();
  for (int i = 0; i < 1000; ++i) {
    sum.add(i % 2 == 0 ? 1.0 : 0.125);
    EXPECT_GE(sum.value(), before);
    before = sum.value();
  }
  EXPECT_EQ(sum.value(), 0x1p53 + 562.0);  // 562.5, of which a double has no half here
}

TEST(LiveFamilies, ForgetsWhatIsGone) {
  const Machine machine;
  Live live;
  const auto* const state = quantity(pwr::QuantityType::State, "");
  const auto* const status = metric("Status", Type::TracedValueTransition, state);
  live.add(metric("Fast", Type::SampledValue, nullptr), pwr::Data(1));
  live.add(metric("Rare", Type::SampledDelta, nullptr), pwr::Data(1), nullptr, nullptr, 5);
  live.add(metric("Events", Type::TracedEvent, state), pwr::Data("x"));
  live.add(status, pwr::Data("active"), machine.zone, nullptr, 0);
  live.pass(3);
  EXPECT_EQ(live.families().seriesCount(), 4U);
  live.pass(1);
  EXPECT_EQ(live.samples(),
            "tavrin_status{thermal_zone=\"soc\",state=\"active\"} 1\n"
            "tavrin_rare_total 1\ntavrin_events_total 1\n");
  live.pass(12);
  live.add(status, pwr::Data("unknown"), machine.zone, nullptr, 0);
  EXPECT_EQ(live.samples(), "tavrin_events_total 1\n");
  EXPECT_EQ(live.families().seriesCount(), 1U);
}

TEST(LiveFamilies, ProcessesAreBoundedAndNothingOfThemIsLost) {
  Live live({.processes = 10});
  const auto* const used = metric("Process CPU Time", Type::TracedEvent,
                                  quantity(pwr::QuantityType::Other, "ms"), "Rank");
  const auto* const rank = descriptor("Busiest 1");
  for (int i = 0; i < 500; ++i) {
    live.add(used, pwr::Data(1.0), nullptr, rank, 1, ("job" + std::to_string(i)).c_str());
    live.add(used, pwr::Data(1.0), nullptr, rank, 1, "job3");
    live.pass(1);
  }
  EXPECT_EQ(live.families().seriesCount(), 11U);
  const auto families = live.families().collect();
  double sum = 0.0;
  for (const auto& one : families.front().metric) sum += one.counter.value;
  EXPECT_NEAR(sum, 1.0, 1e-12);
  live.pass(700);
  EXPECT_EQ(live.families().seriesCount(), 1U);  // others
}

TEST(LiveFamilies, LeavesOutWhatIsTooMuch) {
  Live live({.series = 3});
  const auto* const counter = metric("Counter", Type::SampledDelta, nullptr, "Source");
  for (int i = 0; i < 5; ++i)
    live.add(counter, pwr::Data(1), nullptr, descriptor(std::to_string(i)));
  EXPECT_EQ(live.families().seriesCount(), 3U);
  EXPECT_EQ(live.families().leftOut(), 2U);
  live.pass(4);
  live.add(counter, pwr::Data(1), nullptr, descriptor("new"));
  EXPECT_EQ(live.samples(), "tavrin_counter_total{source=\"new\"} 1\n");
}

TEST(LiveFamilies, KeepsHostileNamesInTheirPlaces) {
  Live live;
  const pwr::EntityHandle* const outer =
      pwr::createEntity({.name = "a\"b\\c\nd\xFF", .level = "state"});
  const pwr::EntityHandle* const inner =
      pwr::createEntity({.name = "", .level = "9} 1\n#", .parent = outer});
  const auto* const first = metric("X} 1\n\\ Total", Type::SampledDelta, nullptr, "9");
  live.add(first, pwr::Data(1), inner, descriptor("x\ty"));
  live.add(first, pwr::Data(1), inner, descriptor("x\ny"));
  live.add(metric("x 1 Total", Type::SampledValue, nullptr), pwr::Data(2));
  EXPECT_EQ(live.samples(),
            "tavrin_x_1_total_total{entity_state=\"a\\\"b\\\\c d\xEF\xBF\xBD\",_9=\"x y\"} 2\n"
            "tavrin_x_1_total 2\n");
  const auto families = live.families().collect();
  EXPECT_EQ(families.front().help, "X} 1 \\\\ Total, feature some");
  Live other;
  other.add(first, pwr::Data(1));
  other.add(metric("X-1-Total", Type::SampledDelta, nullptr), pwr::Data(2));
  EXPECT_EQ(other.samples(), "tavrin_x_1_total_total 1\ntavrin_x_1_total_2_total 2\n");
}

TEST(LiveMetrics, AScrapeSeesWholePasses) {
  LiveMetrics metrics(kSecond, 1.5);
  const pwr::MetricDescription* const gauges[] = {metric("A", Type::SampledValue, nullptr),
                                                  metric("B", Type::SampledValue, nullptr)};
  std::thread passes([&] {
    SampleBatch batch;
    for (unsigned long long pass = 1; pass <= 5000; ++pass) {
      batch.clear();
      batch.setTime(pass);
      batch.setMissed(pass / 2);
      for (const auto* gauge : gauges) {
        batch.add(gauge, 0).elements.emplace_back(pwr::Data(pass), nullptr, nullptr, kSecond);
      }
      EXPECT_EQ(metrics.addPass(batch), 0U);
    }
  });
  const auto read = [&] {
    std::map<std::string, double> values;
    for (const prometheus::MetricFamily& family : metrics.Collect()) {
      const auto& one = family.metric.at(0);
      values[family.name] = std::max(one.counter.value, one.gauge.value);
    }
    return values;
  };
  while (read()["tavrin_samples_total"] < 5000) {
    std::map<std::string, double> values = read();
    EXPECT_EQ(values["tavrin_a"], values["tavrin_samples_total"]);
    EXPECT_EQ(values["tavrin_b"], values["tavrin_samples_total"]);
  }
  passes.join();
  std::map<std::string, double> last = read();
  EXPECT_EQ(last["tavrin_samples_missed_total"], 2500);
  EXPECT_EQ(last["tavrin_series"], 2);
  EXPECT_EQ(last["tavrin_start_time_seconds"], 1.5);
}

}  // namespace
}  // namespace tavrin
