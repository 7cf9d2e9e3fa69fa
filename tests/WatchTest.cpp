// The live table: what intervals look like on a screen and in a pipe.

#include <gtest/gtest.h>

#include "hostcommon/Descriptions.h"
#include "tavrin/watch/LiveScreen.h"
#include "tavrin/watch/LiveTable.h"
#include "writers/host/Quantity.h"

namespace tavrin {
namespace {

using Type = pwr::Metric::MetricType;

constexpr unsigned long long kSecond = 1'000'000'000;

const pwr::DataDescriptor* descriptor(const char* name) {
  return pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(name, ""));
}

std::shared_ptr<const pwr::Field> group(const char* name) {
  return std::make_shared<const pwr::Field>(name);
}

/// A machine with two CPUs, a power zone and a disk, of which every kind of metric tells something.
struct Machine {
  const pwr::EntityHandle* cpu0 = pwr::createEntity({.name = "CPU0"});
  const pwr::EntityHandle* cpu1 = pwr::createEntity({.name = "CPU1"});
  const pwr::EntityHandle* zone = pwr::createEntity({.name = "package-0"});
  const pwr::DataDescriptor* c1 = descriptor("C1");
  const pwr::DataDescriptor* c6 = descriptor("C6");
  const pwr::DataDescriptor* one = descriptor("Energy");
  const pwr::DataDescriptor* forks = descriptor("Forks");
  const pwr::DataDescriptor* task = descriptor("Task");
  const pwr::Quantity* watts =
      pwr::createQuantity({.type = pwr::QuantityType::Power, .name = "Power", .units = "W"});
  const pwr::Quantity* energy = pwr::createQuantity({.type = pwr::QuantityType::Energy,
                                                     .name = "Energy",
                                                     .units = "mJ",
                                                     .rate = watts,
                                                     .rateFactor = 0.001});
  const pwr::Quantity* entry =
      pwr::createQuantity({.type = pwr::QuantityType::StateEntry, .name = "Entries"});
  const pwr::Quantity* celsius = pwr::createQuantity(
      {.type = pwr::QuantityType::Temperature, .name = "Temperature", .units = "C"});

  const pwr::MetricDescription* residency =
      pwr::createMetric({.name = "CPU C-State",
                         .featureTag = "core-cstate",
                         .type = Type::SampledResidency,
                         .quantity = pwr::Quantity::time(),
                         .combinations = {{cpu0, c1}, {cpu0, c6}},
                         .entityGroup = group("CPU")});
  const pwr::MetricDescription* entries = pwr::createMetric({.name = "CPU C-State Entries",
                                                             .featureTag = "core-cstate",
                                                             .type = Type::SampledDelta,
                                                             .quantity = entry,
                                                             .combinations = {{cpu0, c1}},
                                                             .entityGroup = group("CPU")});
  const pwr::MetricDescription* heat = pwr::createMetric({.name = "CPU Temperature",
                                                          .featureTag = "thermal",
                                                          .type = Type::SampledValue,
                                                          .quantity = celsius,
                                                          .combinations = {{cpu0, c1}},
                                                          .entityGroup = group("CPU")});
  const pwr::MetricDescription* power = pwr::createMetric({.name = "Energy",
                                                           .featureTag = "energy",
                                                           .type = Type::SampledDelta,
                                                           .quantity = energy,
                                                           .combinations = {{zone, one}},
                                                           .entityGroup = group("Zone")});
  const pwr::MetricDescription* activity = pwr::createMetric({.name = "System Activity",
                                                              .featureTag = "interrupts",
                                                              .type = Type::SampledDelta,
                                                              .combinations = {{nullptr, forks}}});
  const pwr::MetricDescription* running = pwr::createMetric({.name = "Running Task",
                                                             .featureTag = "sched-trace",
                                                             .type = Type::TracedValueTransition,
                                                             .combinations = {{cpu0, task}},
                                                             .entityGroup = group("CPU")});

  void send(LiveTable& table, const pwr::MetricDescription* metric,
            std::vector<pwr::DataElement> elements) const {
    pwr::Metric message(metric);
    message.editData().elements = std::move(elements);
    table.add(message);
  }
  /// An interval of two seconds.
  void sendAll(LiveTable& table) const {
    const auto seconds = [](double number) {
      return pwr::Data(static_cast<unsigned long long>(number * kSecond));
    };
    constexpr auto kLength = 2 * kSecond;
    send(table, residency,
         {{seconds(0.5), c1, cpu0, kLength},
          {seconds(1), c6, cpu0, kLength},
          {seconds(0), c1, cpu1, kLength},
          {seconds(2), c6, cpu1, kLength}});
    send(table, entries, {{pwr::Data(7), c1, cpu0, kLength}, {pwr::Data(1), c1, cpu1, kLength}});
    send(table, heat, {{pwr::Data(40.5), c1, cpu0, kLength}, {pwr::Data(50.5), c1, cpu1, kLength}});
    send(table, power, {{pwr::Data(25000.0), one, zone, kLength}});
    send(table, activity, {{pwr::Data(24690), forks, nullptr, kLength}});
    for (int i = 0; i < 3; ++i) send(table, running, {{pwr::Data("sh"), task, cpu0, 0}});
  }
};

const Machine& machine() {
  static const Machine one;
  return one;
}

std::string linesOf(LiveScreen& screen, const std::vector<LiveTable::Section>& sections,
                    const std::string& time = "", std::size_t width = 1000) {
  std::string text;
  for (const std::string& line : screen.linesOf(sections, time, width)) text += line + "\n";
  return text;
}

std::string textOf(const LiveTable::Choice& choice, const std::string& time = "",
                   std::size_t width = 1000) {
  LiveTable table(choice, kSecond);
  machine().sendAll(table);
  LiveScreen screen;
  return linesOf(screen, table.take(2.0), time, width);
}

TEST(LiveTable, AnIntervalHasASectionForEachKindOfThing) {
  EXPECT_EQ(textOf({}),
            "CPU   Busy %   C1 %    C6 %  C1 /s   C1 C  Task /s\n"
            "all    12.50  12.50   75.00   4.00  45.50     1.50\n"
            "CPU0   25.00  25.00   50.00   3.50  40.50     1.50\n"
            "CPU1    0.00   0.00  100.00   0.50  50.50        -\n"
            "\n"
            "Zone       Power W\n"
            "package-0    12.50\n"
            "\n"
            "System Activity  Forks /s\n"
            "                    12345\n");
}

TEST(LiveTable, ColumnsAreChosenByAnyOfTheirNames) {
  const struct {
    LiveTable::Choice choice;
    const char* headings;
  } cases[] = {
      {{{"Busy", "Power"}, {}}, "CPU   Busy %|Zone       Power W|"},
      {{{"core-cstate"}, {"CPU C-State Entries"}}, "CPU   Busy %   C1 %    C6 %|"},
      {{{"CPU"}, {"C1", "Task"}}, "CPU   Busy %    C6 %|"},
      {{{}, {"CPU", "energy"}}, "System Activity  Forks /s|"},
      {{{"all"}, {"CPU", "Zone"}}, "System Activity  Forks /s|"},
      {{{"Zone"}, {"Zone"}}, ""},
  };
  for (const auto& [choice, headings] : cases) {
    std::string found;
    std::string line;
    bool isHeading = true;
    for (std::istringstream text(textOf(choice)); std::getline(text, line);) {
      if (isHeading) found += line + "|";
      isHeading = line.empty();
    }
    EXPECT_EQ(found, headings);
  }
}

TEST(LiveTable, NothingIsLeftOfTheIntervalBefore) {
  LiveTable table({{"Zone", "System Activity"}, {}}, kSecond);
  LiveScreen screen;
  machine().sendAll(table);
  table.take(2.0);
  machine().send(table, machine().activity, {{pwr::Data(1), machine().forks, nullptr, kSecond}});
  // Places and widths stay; a thing that was not read shows nothing.
  EXPECT_EQ(linesOf(screen, table.take(1.0)),
            "Zone       Power W\n"
            "package-0        -\n"
            "\n"
            "System Activity  Forks /s\n"
            "                     1.00\n");
}

TEST(LiveTable, ElementsWithOwnersAreAList) {
  const auto* const name = pwr::Attribute::create("Name", nullptr, pwr::AttributeType::String);
  const auto* const pid = pwr::Attribute::create("PID", nullptr, pwr::AttributeType::Int);
  const auto* const tid = pwr::Attribute::create("TID", nullptr, pwr::AttributeType::Int);
  const auto* const time =
      pwr::createQuantity({.type = pwr::QuantityType::Other, .name = "Time", .units = "ms"});
  const pwr::DataDescriptor* const ranks[] = {descriptor("Busiest 1"), descriptor("Busiest 2")};
  const auto* const metric =
      pwr::createMetric({.name = "Process CPU Time",
                         .type = Type::TracedEvent,
                         .quantity = time,
                         .combinations = {{nullptr, ranks[0]}, {nullptr, ranks[1]}},
                         .valueGroup = group("CPU Time")});
  LiveTable table({}, kSecond);
  LiveScreen screen;
  const auto interval = [&](double make, const char* other) {
    std::vector<pwr::DataElement> elements(2);
    auto process = std::make_shared<pwr::AttributeValueManager>();
    process->addAttributeValue(name, pwr::Data("make"));
    for (const auto* const attribute : {pid, tid}) {
      process->addAttributeValue(attribute, pwr::Data(4711));
    }
    auto rest = std::make_shared<pwr::AttributeValueManager>();
    rest->addAttributeValue(name, pwr::Data(other));
    elements[0] = {pwr::Data(make), ranks[0], nullptr, kSecond};
    elements[0].setAttributes(process);
    elements[1] = {pwr::Data(1.0), ranks[1], nullptr, kSecond};
    elements[1].setAttributes(rest);
    machine().send(table, metric, elements);
    return linesOf(screen, table.take(1.0));
  };
  EXPECT_EQ(interval(250.5, "others"),
            "Process CPU Time  CPU Time ms\n"
            "make (4711)            250.50\n"
            "others                   1.00\n");
  EXPECT_EQ(interval(7, "sh"),
            "Process CPU Time  CPU Time ms\n"
            "make (4711)              7.00\n"
            "sh                       1.00\n");
}

TEST(LiveScreen, RowsOfAPipeBeginWithTheirTimeAndLongOnesGoOnBelow) {
  EXPECT_EQ(textOf({{"Zone"}, {}}, "    2.000"),
            "           Zone       Power W\n"
            "    2.000  package-0    12.50\n");
  EXPECT_EQ(textOf({{"CPU C-State"}, {}}, "", 21),
            "CPU   Busy %   C1 %\n"
            "all    12.50  12.50\n"
            "CPU0   25.00  25.00\n"
            "CPU1    0.00   0.00\n"
            "CPU     C6 %\n"
            "all    75.00\n"
            "CPU0   50.00\n"
            "CPU1  100.00\n");
}

TEST(LiveScreen, TextsCannotSteerTheTerminal) {
  const auto* const odd = pwr::createEntity({.name = "a\033[2Jb"});
  const auto* const metric = pwr::createMetric({.name = "M\x07",
                                                .type = Type::SampledValue,
                                                .combinations = {{odd, machine().one}},
                                                .entityGroup = group("G\n")});
  LiveTable table({}, kSecond);
  machine().send(table, metric, {{pwr::Data("\x9b\r"), machine().one, odd, 0}});
  LiveScreen screen;
  EXPECT_EQ(linesOf(screen, table.take(1.0)),
            "G\\x0a        Energy\n"
            "a\\x1b[2Jb  \\x9b\\x0d\n");
}

}  // namespace
}  // namespace tavrin
