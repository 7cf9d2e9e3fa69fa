// The totals and tables of the summary, the session that drives the writers, and the library that
// they come from.

#include <gtest/gtest.h>

#include <cmath>

#include "TestSupport.h"
#include "hostcommon/Descriptions.h"
#include "tavrin/PluginLibrary.h"
#include "tavrin/Session.h"
#include "tavrin/common/CommandError.h"
#include "tavrin/common/PlainText.h"
#include "tavrin/summary/SummaryTables.h"
#include "writers/host/Quantity.h"

using namespace tavrin;  // NOLINT: the tests are about this namespace
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
  pwr::Metric idle = Machine::metric("Idle", Type::SampledResidency, pwr::Quantity::time());
  add(idle, {{{count(kSecond), m.states[0], m.cpus[0], 2 * kSecond},
              {count(0), m.states[1], m.cpus[0], 2 * kSecond},
              {count(kSecond), m.states[1], m.cpus[1], 2 * kSecond}},
             {{count(kSecond), m.states[0], m.cpus[0], 2 * kSecond}}});
  idle.editData().elements = {{count(kSecond), m.states[1], m.cpus[0], 0}};
  tables.addRemainder(idle);
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
  pwr::Metric silent = Machine::metric("Silent", Type::SampledResidency, pwr::Quantity::time());
  tables.addRemainder(silent);
  TablePrinter printer;
  unsigned int ownContainer = 0;
  tables.deliver(
      1000.0, [&](const auto& info) { ownContainer = info.getContainerId(); },
      [&](const pwr::TableMessage& message) { printer(message); });
  EXPECT_EQ(ownContainer, 5U);
  EXPECT_EQ(printer.text,
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
            "CPU0 | on | 2 | 2000000000\n"
            "CPU0 | off | 1 | 1000000000\n"
            "Nothing Summary: Sampled Values\n"
            "Where | Minimum | Average | Maximum | Samples\n"
            "\n"
            "Silent Summary: Residency (Percentage and Time)\n"
            "Where\n"
            "\n"
            "Collection Summary: Total Samples Received\n"
            "Metric | Feature | Samples | Values\n"
            "Idle | test | 2 | 4\n"
            "Entries | test | 2 | 2\n"
            "Energy | test | 2 | 2\n"
            "Faults | test | 1 | 1\n"
            "Volts | test | 2 | 2\n"
            "Mode | test | 3 | 3\n"
            "Nothing | test | 1 | 0\n"
            "Silent | test | 0 | 0\n");
}

TEST(Session, LeavesOutWhatIsNotFinite) {
  const LogCapture log;
  const Machine m;
  Session session({});
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
  EXPECT_THROW(PluginLibrary("libm.so.6"), CommandError) << "only a path leads to a library";
  try {
    const PluginLibrary other(PW_HOST_LIBRARY);
    FAIL() << "a library without the entry points must be refused";
  } catch (const CommandError& error) {
    EXPECT_NE(std::string(error.what()).find(" is not a plugin library: "), std::string::npos);
  }
}

TEST(PlainText, WhatCouldSteerATerminalIsEscaped) {
  const std::pair<std::string, std::string> cases[] = {
      {"plain \\ 'text' \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", ""},
      {"\x1B[31m\n\x7F", "\\x1b[31m\\x0a\\x7f"},
      {"\xC2\x9B\xC2\xA0", "\\xc2\\x9b\xC2\xA0"},
      {"\xFF\xC3(\xE2\x82", "\\xff\\xc3(\\xe2\\x82"},
      {"\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80", "\\xc0\\x80\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80"},
  };
  for (const auto& [text, shown] : cases) EXPECT_EQ(escaped(text), shown.empty() ? text : shown);
}

TEST(PlainText, AShellTakesALineApartAsItWas) {
  EXPECT_EQ(shellLine({"record", "--", "sh", "-c", "echo $HOME; it's", ""}),
            R"(record -- sh -c 'echo $HOME; it'\''s' '')");
  EXPECT_EQ(shellLine({"-o", "a\nb'\xFF\\"}), R"(-o $'a\x0ab\'\xff\\')");
}

}  // namespace
