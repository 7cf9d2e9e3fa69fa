// The totals of metrics and the summary tables made of them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>

#include "hostcommon/Descriptions.h"
#include "hostcommon/summary/MetricTotals.h"
#include "hostcommon/summary/SummaryTables.h"
#include "writers/host/Quantity.h"

using pwr::Data;
using Type = pwr::Metric::MetricType;

namespace {

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

/// What metrics of every kind are about, on two processors.
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
};

constexpr unsigned long long kSecond = 1'000'000'000;

/// A metric's samples, one per second.
using Samples = std::vector<std::vector<pwr::DataElement>>;

/// The summary of a run.
class Summary {
 public:
  pwr::Metric& add(pwr::MetricDescription description, const Samples& samples,
                   const char* things = "Where", const char* feature = "test") {
    description.containerId = 4;
    description.featureTag = feature;
    description.descriptorGroup =
        std::make_shared<const pwr::Field>(things, pwr::ExpectedAttributeManager());
    description.entityGroup = description.descriptorGroup;
    pwr::Metric& metric = metrics_.emplace_back(pwr::createMetric(std::move(description)));
    for (std::size_t i = 0; i < samples.size(); ++i) {
      metric.editData() = {.timestamp = i * kSecond, .elements = samples[i]};
      tables.add(metric);
    }
    return metric;
  }

  /// All tables but that of the samples received, of a run that ends at `stop`.
  std::string text(unsigned long long stop = 0) {
    const pwr::SystemMetadata system(
        {.timestampClockFrequencyMHz = 1000, .collectionStopTimestamp = stop});
    TablePrinter printer;
    tables.deliver(
        system, [&](const auto& info) { ownContainer = info.getContainerId(); },
        [&](const pwr::TableMessage& message) { printer(message); });
    const std::size_t end = printer.text.find("Collection Summary: ");
    received = printer.text.substr(end);
    return printer.text.substr(0, end);
  }

  pwr::SummaryTables tables;
  unsigned int ownContainer = 0;
  std::string received;

 private:
  std::deque<pwr::Metric> metrics_;
};

/// A sample with one element of each value.
Samples samplesOf(const std::vector<Data>& values) {
  Samples samples;
  for (const Data& value : values) samples.push_back({{value, nullptr, nullptr, 0}});
  return samples;
}

TEST(SummaryTables, RanksHaveNoTable) {
  const Machine m;
  Summary run;
  run.add(
      {.name = "Share", .type = Type::TracedEvent},
      {{{Data(1.0), m.states[0], nullptr, kSecond}, {Data(0.5), m.states[1], nullptr, kSecond}}},
      "Rank");
  EXPECT_EQ(run.text(), "") << "of the busiest of each interval: another one each time";
  EXPECT_NE(run.received.find("Share | test | 1 | 2"), std::string::npos) << run.received;
}

TEST(SummaryTables, OneFormPerKindOfMetric) {
  const Machine m;
  const auto count = [](unsigned long long value) { return Data(value); };
  Summary run;
  pwr::Metric& idle =
      run.add({.name = "Idle", .type = Type::SampledResidency, .quantity = pwr::Quantity::time()},
              {{{count(kSecond), m.states[0], m.cpus[0], 2 * kSecond},
                {count(0), m.states[1], m.cpus[0], 2 * kSecond},
                {count(kSecond), m.states[1], m.cpus[1], 2 * kSecond}},
               {{count(kSecond), m.states[0], m.cpus[0], 2 * kSecond}}});
  idle.editData().elements = {{count(kSecond), m.states[1], m.cpus[0], 0}};
  run.tables.addRemainder(idle);
  run.add({.name = "Entries", .type = Type::SampledDelta, .quantity = m.entries},
          {{{count(3), m.states[0], m.cpus[1], kSecond}},
           {{count(4), m.states[0], m.cpus[1], kSecond}}});
  run.add({.name = "Energy", .type = Type::SampledDelta, .quantity = m.energy},
          {{{Data(1500.5), nullptr, m.cpus[0], kSecond}},
           {{Data(500.0), nullptr, m.cpus[0], kSecond}}});
  run.add({.name = "Faults", .type = Type::SampledDelta},
          {{{count(3), m.states[0], nullptr, kSecond}}});
  run.add({.name = "Volts"},
          {{{Data(-1.0), m.states[0], m.cpus[0], 0}}, {{Data(2.0), m.states[0], m.cpus[0], 0}}});
  run.add({.name = "Mode", .type = Type::TracedEvent},
          {{{Data("off"), nullptr, m.cpus[0], kSecond}},
           {{Data("on"), nullptr, m.cpus[0], kSecond}},
           {{Data("on"), nullptr, m.cpus[0], kSecond}, {Data(), nullptr, m.cpus[0], kSecond}}});
  run.add({.name = "Nothing"}, {{}});
  run.add({.name = "Silent", .type = Type::SampledResidency, .quantity = pwr::Quantity::time()},
          {});
  pwr::Metric silent = run.add({.name = "Silent too", .type = Type::SampledDelta}, {});
  run.tables.addRemainder(silent);
  EXPECT_EQ(run.text(),
            "Idle Summary: Residency (Percentage and Time)\n"
            "Where | C1 (%) | C6 (%) | C1 (ms) | C6 (ms)\n"
            "CPU0 | 50.00 | 50.00 | 2000000000 | 1000000000\n"
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
            "CPU0 | -1.00 | 0.50 | 2.00 | 2\n"
            "Mode Summary: Counts\n"
            "Where | Value | Count | Time (ms)\n"
            "CPU0 | off | 1 | 1000000000\n"
            "CPU0 | on | 2 | 2000000000\n"
            "Nothing Summary: Sampled Values\n"
            "Where | Minimum | Average | Maximum | Samples\n"
            "\n"
            "Silent too Summary: Total\n"
            "Where | Total\n"
            "\n");
  EXPECT_EQ(run.ownContainer, 5U);
  EXPECT_EQ(run.received,
            "Collection Summary: Total Samples Received\n"
            "Metric | Feature | Samples | Values\n"
            "Idle | test | 2 | 4\n"
            "Entries | test | 2 | 2\n"
            "Energy | test | 2 | 2\n"
            "Faults | test | 1 | 1\n"
            "Volts | test | 2 | 2\n"
            "Mode | test | 3 | 3\n"
            "Nothing | test | 1 | 0\n"
            "Silent too | test | 0 | 0\n");
}

TEST(SummaryTables, LostEventsAreTold) {
  pwr::SystemMetadata system({.timestampClockFrequencyMHz = 1000});
  pwr::SummaryTables tables;
  for (const char* const wanted :
       {"", "Collection Summary: Lost Events\nSource | Events\nCPU0 | 7\nCPU1 | 0\n"}) {
    TablePrinter printer;
    tables.deliver(
        system, [](const auto&) {}, [&](const pwr::TableMessage& message) { printer(message); });
    const std::size_t start = printer.text.find("Collection Summary: Lost");
    EXPECT_EQ(start == std::string::npos ? "" : printer.text.substr(start), wanted);
    system.edit().lostEvents = {{"CPU0", 7}, {"CPU1", 0}};
  }
}

TEST(SummaryTables, RowsAreNamedByWhatTellsThemApart) {
  const Machine m;
  const Data one(1);
  const pwr::EntityHandle* const nameless = pwr::createEntity({});
  const std::pair<std::vector<pwr::DataElement>, std::string> cases[] = {
      {{{one, nullptr, nullptr, 0}}, "Faults | 1\n"},
      {{{one, m.states[0], nullptr, 0}, {one, m.states[1], nullptr, 0}}, "C1 | 1\nC6 | 1\n"},
      {{{one, m.states[0], m.cpus[0], 0}, {one, m.states[0], m.cpus[1], 0}},
       "CPU0 | 1\nCPU1 | 1\n"},
      {{{one, m.states[0], m.cpus[0], 0}, {one, m.states[1], m.cpus[0], 0}},
       "CPU0 C1 | 1\nCPU0 C6 | 1\n"},
      {{{one, nullptr, m.cpus[0], 0}, {one, m.states[1], m.cpus[0], 0}}, "CPU0 | 1\nCPU0 C6 | 1\n"},
      {{{one, m.states[0], nameless, 0}, {one, nullptr, nameless, 0}}, "C1 | 1\nFaults | 1\n"},
  };
  for (const auto& [elements, rows] : cases) {
    Summary run;
    run.add({.name = "Faults", .type = Type::SampledDelta}, {elements});
    EXPECT_EQ(run.text(), "Faults Summary: Total\nWhere | Total\n" + rows);
  }
}

TEST(SummaryTables, TotalsOfIntegersAreExact) {
  constexpr auto kMostUInt = std::numeric_limits<unsigned long long>::max();
  constexpr auto kLeastInt = std::numeric_limits<long long>::min();
  const std::pair<std::vector<Data>, std::string> cases[] = {
      {{Data(1ULL << 63U)}, "9223372036854775808"},
      {{Data(1ULL << 63U), Data(1ULL << 62U), Data(1U)}, "13835058055282163713"},
      {{Data(1ULL << 53U), Data(1U)}, "9007199254740993"},
      {{Data(kMostUInt), Data(kMostUInt)}, "36893488147419103232.00"},
      {{Data(kLeastInt), Data(kLeastInt)}, "-18446744073709551616.00"},
      {{Data(3U), Data(-5)}, "-2"},
      {{Data(0.5), Data(2U)}, "2.50"},
      {{Data(2U), Data(0.5)}, "2.50"},
      {{Data(2U), Data(1.0)}, "3.00"},
      {{Data(1U), Data(std::nan("")), Data(2U)}, "3"},
  };
  for (const auto& [values, total] : cases) {
    Summary run;
    run.add({.name = "N", .type = Type::SampledDelta}, samplesOf(values));
    EXPECT_EQ(run.text(), "N Summary: Total\nWhere | Total\nN | " + total + "\n");
  }
}

TEST(SummaryTables, NanIsAMissingValue) {
  Summary run;
  run.add({.name = "Volts"},
          samplesOf({Data(std::nan("")), Data(1.0), Data(-std::nan("")), Data(3.0)}));
  EXPECT_EQ(run.text(),
            "Volts Summary: Sampled Values\n"
            "Where | Minimum | Average | Maximum | Samples\n"
            "Volts | 1.00 | 2.00 | 3.00 | 2\n");
}

TEST(SummaryTables, TracedStatesHaveResidencies) {
  const Machine m;
  const pwr::DataHandle* const deep =
      pwr::createHandle({.type = pwr::DataHandleType::State, .name = "Deep"});
  Summary run;
  // Without a duration a state lasts until the next one; at most, the end of the run is known.
  run.add({.name = "Sleep",
           .type = Type::TracedValueTransition,
           .finiteSet = {Data("Off"), Data("On"), Data(deep)}},
          {{{Data("On"), nullptr, m.cpus[0], 0}, {Data(deep), nullptr, m.cpus[1], kSecond / 4}},
           {{Data(deep), nullptr, m.cpus[0], 0}},
           {{Data("New"), nullptr, m.cpus[1], 3 * kSecond / 4}},
           {{Data("On"), nullptr, m.cpus[0], 0}}});
  // Numbers of a finite set are states too.
  run.add(
      {.name = "Level", .type = Type::TracedValueTransition, .finiteSet = {Data(7U), Data(2.5)}},
      {{{Data(7U), m.states[0], m.cpus[0], 0}, {Data(2.5), m.states[1], m.cpus[0], 0}},
       {{Data(2.5), m.states[0], m.cpus[0], 0}}});
  EXPECT_EQ(run.text(4 * kSecond),
            "Sleep Summary: Residency (Percentage and Time)\n"
            "Where | Off (%) | On (%) | Deep (%) | New (%) | "
            "Off (ms) | On (ms) | Deep (ms) | New (ms)\n"
            "CPU0 | 0.00 | 50.00 | 50.00 | 0.00 | 0 | 2000000000 | 2000000000 | 0\n"
            "CPU1 | 0.00 | 0.00 | 25.00 | 75.00 | 0 | 0 | 250000000 | 750000000\n"
            "Sleep Summary: Entry Counts\n"
            "Where | Off | On | Deep | New\n"
            "CPU0 | 0 | 2 | 1 | 0\n"
            "CPU1 | 0 | 0 | 1 | 1\n"
            "Level Summary: Residency (Percentage and Time)\n"
            "Where | 7 (%) | 2.50 (%) | 7 (ms) | 2.50 (ms)\n"
            "CPU0 C1 | 25.00 | 75.00 | 1000000000 | 3000000000\n"
            "CPU0 C6 | 0.00 | 100.00 | 0 | 4000000000\n"
            "Level Summary: Entry Counts\n"
            "Where | 7 | 2.50\n"
            "CPU0 C1 | 1 | 1\n"
            "CPU0 C6 | 0 | 1\n");
}

TEST(SummaryTables, TracedNumbersHaveAveragesOverTimeAndFewOfThemResidencies) {
  const Machine m;
  const pwr::MetricDescription frequency{.name = "Freq", .type = Type::TracedValueTransition};
  Summary run;
  // Without a duration a number lasts until the next one.
  run.add(frequency,
          {{{Data(1800.0), nullptr, m.cpus[0], 3 * kSecond}, {Data(900.0), nullptr, m.cpus[1], 0}},
           {{Data(600.0), nullptr, m.cpus[0], kSecond}}});
  EXPECT_EQ(run.text(4 * kSecond),
            "Freq Summary: Values over Time\n"
            "Where | Minimum | Average | Maximum | Changes\n"
            "CPU0 | 600.00 | 1500.00 | 1800.00 | 2\n"
            "CPU1 | 900.00 | n/a | 900.00 | 1\n"
            "Freq Summary: Residency (Percentage and Time)\n"
            "Where | 600.00 (%) | 900.00 (%) | 1800.00 (%) | "
            "600.00 (ms) | 900.00 (ms) | 1800.00 (ms)\n"
            "CPU0 | 25.00 | 0.00 | 75.00 | 1000000000 | 0 | 3000000000\n"
            "CPU1 | 0.00 | 100.00 | 0.00 | 0 | 4000000000 | 0\n");
  Samples many;
  for (std::size_t i = 0; i <= pwr::MetricTotals::kMostLevels; ++i) {
    many.push_back({{Data(i), nullptr, m.cpus[i % 2], 10}});
  }
  Summary other;
  other.add(frequency, many);
  EXPECT_EQ(other.text().find("Residency"), std::string::npos);
  Summary heat;
  heat.add({.name = "Heat",
            .type = Type::TracedValueTransition,
            .quantity = pwr::createQuantity({.type = pwr::QuantityType::Temperature})},
           {{{Data(40.0), nullptr, m.cpus[0], kSecond}}});
  EXPECT_EQ(heat.text(),
            "Heat Summary: Values over Time\n"
            "Where | Minimum | Average | Maximum | Changes\n"
            "CPU0 | 40.00 | 40.00 | 40.00 | 1\n");
}

TEST(SummaryTables, CpusAreInTheOrderOfTheirNumbers) {
  Samples samples;
  for (const char* const name : {"CPU10", "CPU2", "CPU0"}) {
    samples.push_back({{Data(5U), nullptr, pwr::createEntity({.name = name}), 10}});
  }
  Summary run;
  run.add({.name = "Freq", .type = Type::TracedValueTransition}, samples, "CPU");
  const std::string text = run.text();
  EXPECT_TRUE(
      text.starts_with("Freq Summary: Values over Time\n"
                       "CPU | Minimum | Average | Maximum | Changes\n"
                       "CPU0 | 5.00 | 5.00 | 5.00 | 1\nCPU2 | 5.00 | 5.00 | 5.00 | 1\n"
                       "CPU10 | "))
      << text;
  EXPECT_TRUE(
      text.ends_with("all CPUs | 100.00 | 30\nCPU0 | 100.00 | 10\n"
                     "CPU2 | 100.00 | 10\nCPU10 | 100.00 | 10\n"))
      << text;
}

TEST(SummaryTables, StatesThatNobodyTellsOfAreInTheOrderOfTheirNumbers) {
  const Machine m;
  Samples samples;
  for (const char* const state : {"state10", "Active", "state2", "deep"}) {
    samples.push_back({{Data(state), nullptr, m.cpus[0], 10}});
  }
  Summary run;
  run.add({.name = "Idle", .type = Type::TracedValueTransition, .finiteSet = {Data("Active")}},
          samples);
  EXPECT_NE(run.text().find("Where | Active | deep | state2 | state10\n"), std::string::npos);
}

TEST(SummaryTables, TextsThatLastAreInTheOrderOfTheirTimes) {
  Samples samples;
  for (unsigned int text = 1; text <= 22; ++text) {
    samples.push_back({{Data("t" + std::to_string(text)), nullptr, nullptr, text}});
  }
  Summary run;
  run.add({.name = "Task", .type = Type::TracedValueTransition}, samples);
  const std::string text = run.text();
  EXPECT_TRUE(
      text.starts_with("Task Summary: Counts\n"
                       "Where | Value | Count | Time (ms) | Share (%)\n"
                       "Task | t22 | 1 | 22 | 8.70\nTask | t21 | 1 | 21 | 8.30\n"))
      << text;
  EXPECT_TRUE(text.ends_with("Task | t3 | 1 | 3 | 1.19\nothers |  | 2 | 3 | 1.19\n")) << text;
}

TEST(SummaryTables, ManyTextsAreCutToTheMostFrequent) {
  Samples samples;
  for (unsigned int text = 1; text <= 21; ++text) {
    for (unsigned int n = 0; n < text % 21 + 1; ++n) {
      samples.push_back({{Data("t" + std::to_string(text)), nullptr, nullptr, 10}});
    }
  }
  const auto add = [&](Summary& run) {
    run.add({.name = "Reason", .type = Type::TracedEvent}, samples);
  };
  Summary run;
  add(run);
  const std::string head = "Reason Summary: Counts\nWhere | Value | Count | Time (ms)\n";
  std::string rows;
  for (int text = 20; text >= 1; --text) {
    rows += "Reason | t" + std::to_string(text) + " | " + std::to_string(text + 1) + " | " +
            std::to_string(10 * text + 10) + "\n";
  }
  EXPECT_EQ(run.text(), head + rows + "others |  | 1 | 10\n");

  // Texts beyond a limit are counted, not kept.
  constexpr unsigned int kBeyond = 1000;
  for (std::size_t text = 21; text < pwr::MetricTotals::kMostTexts + kBeyond; ++text) {
    samples.push_back({{Data("u" + std::to_string(text)), nullptr, nullptr, 10}});
  }
  Summary many;
  add(many);
  const std::size_t others = pwr::MetricTotals::kMostTexts + kBeyond - 20;
  EXPECT_EQ(many.text(), head + rows + "others |  | " + std::to_string(others) + " | " +
                             std::to_string(10 * others) + "\n");
}

TEST(SummaryTables, ManyCountersOfTheMachineAreCutToTheLargest) {
  const Machine m;
  for (const bool isOfCpu : {false, true}) {
    std::vector<pwr::DataElement> elements;
    std::string rows;
    for (unsigned int i = 1; i <= 22; ++i) {
      const std::string name = "s" + std::to_string(i);
      elements.emplace_back(Data(i), pwr::DataDescriptor::create({name, ""}),
                            isOfCpu ? m.cpus[0] : nullptr, kSecond);
      const std::string row = name + " | " + std::to_string(2 * i) + "\n";
      if (isOfCpu) {
        rows += "CPU0 " + row;
      } else if (i > 2) {
        rows.insert(0, row);
      }
    }
    if (!isOfCpu) rows += "others | 6\n";
    Summary run;
    run.add({.name = "Sources", .type = Type::SampledDelta}, {elements, elements});
    EXPECT_EQ(run.text(), "Sources Summary: Total\nWhere | Total\n" + rows);
  }
}

TEST(SummaryTables, EntriesOfSomeKindHaveTheirShareOfAll) {
  const Machine m;
  const auto element = [&](unsigned int value, int state, int cpu) {
    return pwr::DataElement(Data(value), m.states[state], m.cpus[cpu], kSecond);
  };
  const auto add = [&](Summary& run, const char* name,
                       const std::vector<pwr::DataElement>& sample) {
    run.add({.name = name, .type = Type::SampledDelta, .quantity = m.entries}, {sample});
  };
  Summary run;
  add(run, "Entries", {element(40, 0, 0), element(8, 1, 0), element(0, 0, 1)});
  add(run, "Too Deep", {element(10, 0, 0), element(0, 0, 1)});
  add(run, "Others", {element(1, 1, 1)});  // of a state without entries
  EXPECT_EQ(run.text(),
            "Entries Summary: Entry Counts\n"
            "Where | C1 | C6\nCPU0 | 40 | 8\nCPU1 | 0 | n/a\n"
            "Too Deep Summary: Entry Counts and Shares\n"
            "Where | C1 | C1 (%)\nCPU0 | 10 | 25.00\nCPU1 | 0 | n/a\n"
            "Others Summary: Entry Counts\n"
            "Where | C6\nCPU1 | 1\n");
}

TEST(SummaryTables, WhatWasAnnouncedAndNeverCameHasItsRow) {
  const Machine m;
  const Data one(1U);
  Summary run;
  const std::vector<pwr::Metric::EntityDescCombo> announced = {
      {m.cpus[0], m.states[0]}, {m.cpus[1], m.states[0]}, {m.cpus[1], m.states[0]}};
  run.add({.name = "Volts", .combinations = announced}, {{{one, m.states[0], m.cpus[0], kSecond}}});
  run.add({.name = "Energy",
           .type = Type::SampledDelta,
           .quantity = m.energy,
           .combinations = announced},
          {{{one, m.states[0], m.cpus[1], kSecond}}});
  run.add({.name = "Faults",
           .type = Type::SampledDelta,
           .combinations = {{nullptr, m.states[0]}, {nullptr, m.states[1]}}},
          {{{one, m.states[0], nullptr, kSecond}}});
  EXPECT_EQ(run.text(),
            "Volts Summary: Sampled Values\n"
            "Where | Minimum | Average | Maximum | Samples\n"
            "CPU0 | 1.00 | 1.00 | 1.00 | 1\n"
            "CPU1 | n/a | n/a | n/a | 0\n"
            "Energy Summary: Average Rate and Total\n"
            "Where | Average Rate (W) | Total (mJ)\n"
            "CPU1 | 0.00 | 1\n"
            "CPU0 | n/a | n/a\n"
            "Faults Summary: Total\n"
            "Where | Total\n"
            "C1 | 1\n"
            "C6 | n/a\n");
  std::vector<pwr::Metric::EntityDescCombo> zones;
  for (int i = 0; i < 8; ++i) {
    zones.push_back({pwr::createEntity({.name = "z" + std::to_string(i)}), m.states[0]});
    zones.push_back({zones.back().entity, m.states[1]});
  }
  run.add({.name = "Heat", .combinations = zones}, {{}});
  EXPECT_EQ(run.tables.linesOfSilent(),
            (std::vector<std::string>{
                "metric 'Volts' has no value of CPU1", "metric 'Energy' has no value of CPU0",
                "metric 'Faults' has no value of C6",
                "metric 'Heat' has no value of z0, z1, z2, z3, z4 and 3 more"}));
}

TEST(SummaryTables, ManySeriesTakeNoLongTime) {
  std::vector<const pwr::DataDescriptor*> descriptors;
  descriptors.reserve(2000);
  for (int i = 0; i < 2000; ++i) {
    descriptors.push_back(pwr::DataDescriptor::create({"D" + std::to_string(i), ""}));
  }
  std::vector<pwr::Metric::EntityDescCombo> combinations;
  std::vector<pwr::DataElement> elements;
  for (std::size_t i = 0; i < 20000; ++i) {
    const pwr::EntityHandle* const entity = pwr::createEntity({.name = "E" + std::to_string(i)});
    for (std::size_t d = 0; d < 10; ++d) {
      combinations.push_back({entity, descriptors[d]});
      elements.emplace_back(Data(1U), descriptors[d], entity, 1);
    }
  }
  Summary run;
  run.add({.name = "Idle", .type = Type::SampledResidency, .combinations = combinations},
          {elements});
  EXPECT_EQ(std::ranges::count(run.text(), '\n'), 20002);
  // A column for each of too many descriptors would be of use to nobody.
  elements.clear();
  for (const pwr::DataDescriptor* descriptor : descriptors) {
    elements.emplace_back(Data(1U), descriptor, nullptr, 1);
  }
  Summary wide;
  wide.add({.name = "Idle", .type = Type::SampledResidency}, {elements});
  EXPECT_EQ(wide.text().substr(0, 48), "Idle Summary: Total\nWhere | Total\nD0 | 1\nD1 | 1\n");
}

/// A metric of CPUs in two packages, the odd ones in the second, and its samples: of second n, CPU
/// c has slept c + n tenths of it in C6 and none in C1.
pwr::MetricDescription sleepOf(unsigned int cpus, const Machine& m, Samples& samples) {
  const pwr::EntityHandle* const packages[] = {
      pwr::createEntity({.name = "Package0", .level = "Package"}),
      pwr::createEntity({.name = "Package1", .level = "Package"})};
  samples.resize(2);
  for (unsigned int cpu = 0; cpu < cpus; ++cpu) {
    const auto* const core =
        pwr::createEntity({.name = "Core", .level = "Core", .parent = packages[cpu % 2]});
    const auto* const entity =
        pwr::createEntity({.name = "CPU" + std::to_string(cpu), .level = "Thread", .parent = core});
    for (unsigned int second = 0; second < samples.size(); ++second) {
      const Data asleep((cpu + second) % 10 * kSecond / 10);
      samples[second].push_back({Data(0ULL), m.states[0], entity, kSecond});
      samples[second].push_back({asleep, m.states[1], entity, kSecond});
    }
  }
  return {.name = "Sleep", .type = Type::SampledResidency, .quantity = pwr::Quantity::time()};
}

TEST(SummaryTables, TheWholeMachineComesFirst) {
  const Machine m;
  Samples samples;
  Summary few;
  few.add(sleepOf(3, m, samples), samples, "CPU", "core-cstate");
  EXPECT_EQ(few.text(),
            "Sleep Summary: Residency (Percentage and Time)\n"
            "CPU | Busy (%) | C1 (%) | C6 (%) | Busy (ms) | C1 (ms) | C6 (ms)\n"
            "all CPUs | 85.00 | 0.00 | 15.00 | 5100000000.00 | 0 | 900000000\n"
            "Package0 | 85.00 | 0.00 | 15.00 | 3400000000.00 | 0 | 600000000\n"
            "Package1 | 85.00 | 0.00 | 15.00 | 1700000000.00 | 0 | 300000000\n"
            "CPU0 | 95.00 | 0.00 | 5.00 | 1900000000.00 | 0 | 100000000\n"
            "CPU1 | 85.00 | 0.00 | 15.00 | 1700000000.00 | 0 | 300000000\n"
            "CPU2 | 75.00 | 0.00 | 25.00 | 1500000000.00 | 0 | 500000000\n");
  Samples manySamples;
  Summary many;
  many.add(sleepOf(40, m, manySamples), manySamples, "CPU", "core-cstate");
  EXPECT_EQ(many.text(),
            "Sleep Summary: Residency (Percentage and Time)\n"
            "CPU | Busy (%) | C1 (%) | C6 (%) | Busy (ms) | C1 (ms) | C6 (ms)\n"
            "all CPUs | 55.00 | 0.00 | 45.00 | 44000000000.00 | 0 | 36000000000\n"
            "Package0 | 55.00 | 0.00 | 45.00 | 22000000000.00 | 0 | 18000000000\n"
            "Package1 | 55.00 | 0.00 | 45.00 | 22000000000.00 | 0 | 18000000000\n");
  Summary tasks;
  tasks.add({.name = "Task", .type = Type::TracedValueTransition},
            {{{Data("sh"), nullptr, m.cpus[0], 3}, {Data("sh"), nullptr, m.cpus[1], 4}},
             {{Data("cc"), nullptr, m.cpus[1], 5}}},
            "CPU");
  EXPECT_EQ(tasks.text(),
            "Task Summary: Counts\n"
            "CPU | Value | Count | Time (ms) | Share (%)\n"
            "all CPUs | sh | 2 | 7 | 58.33\n"
            "all CPUs | cc | 1 | 5 | 41.67\n");
  Summary power;
  std::vector<pwr::DataElement> zones;
  for (const char* const name : {"package-0", "package-0/core", "package-1", "psys"}) {
    zones.push_back({Data(1000.0 + static_cast<double>(zones.size())), nullptr,
                     pwr::createEntity({.name = name, .level = "Power Zone"}), kSecond});
  }
  power.add({.name = "Energy", .type = Type::SampledDelta, .quantity = m.energy}, {zones}, "Zone");
  EXPECT_EQ(power.text(),
            "Energy Summary: Average Rate and Total\n"
            "Zone | Average Rate (W) | Total (mJ)\n"
            "all packages | 2.00 | 2002.00\n"
            "package-0 | 1.00 | 1000.00\n"
            "package-0/core | 1.00 | 1001.00\n"
            "package-1 | 1.00 | 1002.00\n"
            "psys | 1.00 | 1003.00\n");
}

}  // namespace
