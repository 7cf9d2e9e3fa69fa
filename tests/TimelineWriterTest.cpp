// The timeline writer from the message to the file, which the reader gives back as text.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "TimelineFileLines.h"
#include "writers/timeline/StateColors.h"

namespace {

using column_test::descriptor;
using pwr::Data;
using pwr::DataElement;
using timeline_test::Lines;
using timeline_test::linesOf;
using timeline_test::namesOf;
using Type = pwr::Metric::MetricType;
class TimelineWriterTest : public column_test::ColumnWriterTest<KorvellWriter> {
 protected:
  const pwr::MetricDescription* metric(pwr::MetricDescription description) {
    for (const auto* entity : {cpu0_, cpu1_}) {
      for (const auto* field : {c1_, c6_}) description.combinations.push_back({entity, field});
    }
    return pwr::createMetric(std::move(description));
  }

  const pwr::EntityHandle* const package_ =
      pwr::createEntity({.name = "Package0", .level = "Package"});
  const pwr::EntityHandle* const cpu0_ =
      pwr::createEntity({.name = "CPU0", .level = "Thread", .parent = package_});
  const pwr::EntityHandle* const cpu1_ =
      pwr::createEntity({.name = "CPU1", .level = "Thread", .parent = package_});
  const pwr::DataDescriptor* const c1_ = descriptor("C1");
  const pwr::DataDescriptor* const c6_ = descriptor("C6");
  const pwr::Quantity* const rate_ =
      pwr::createQuantity({.type = pwr::QuantityType::Rate, .name = "Rate", .units = "/s"});
  const pwr::Quantity* const count_ = pwr::createQuantity({.type = pwr::QuantityType::Count,
                                                           .name = "Count",
                                                           .units = "percent",
                                                           .rate = rate_,
                                                           .rateFactor = 0.5});
  const pwr::MetricDescription* const residency_ = metric({.name = "CPU C-State",
                                                           .featureTag = "core-cstate",
                                                           .type = Type::SampledResidency,
                                                           .quantity = pwr::Quantity::time()});
  const pwr::MetricDescription* const value_ = metric({.name = "Value"});
};

TEST_F(TimelineWriterTest, RecordsOfEveryKindOfMetric) {
  const pwr::Quantity* const megahertz = pwr::createQuantity(
      {.type = pwr::QuantityType::Frequency, .name = "Frequency", .units = "MHz"});
  const std::vector<Data> onOff{Data("on"), Data("off")};
  const struct {
    pwr::MetricDescription description;
    DataElement element;
    const char* metricClass;
    const char* record;  // behind the metric
  } kCases[] = {
      {{.type = Type::SampledResidency, .quantity = pwr::Quantity::time()},
       {Data(70U), c6_, cpu0_, 90},
       "4",
       "ENTITY=Package0/CPU0 FIELD=C6 QUANTITY=Time UINT=70 COLOR=C6 DURATION=90"},
      {{.type = Type::SampledDelta, .quantity = count_},
       {Data(-7), c6_, cpu0_, 90},
       "8",
       "ENTITY=Package0/CPU0 FIELD=C6 QUANTITY=Count INT=-7 DURATION=90"},
      {{.type = Type::SampledDelta, .finiteSet = onOff},
       {Data(7U), c1_, nullptr, 0},
       "4",
       "FIELD=C1 UINT=7 COLOR=C1"},
      {{.type = Type::SampledValue}, {Data(1.5), nullptr, nullptr, 0}, "5", "REAL=1.5"},
      {{.type = Type::SampledValue, .quantity = rate_},
       {Data(Data::RealPair{0.5, 2}), nullptr, cpu1_, 90},
       "5",
       "ENTITY=Package0/CPU1 QUANTITY=Rate REAL_LOWER_BOUND=0.5 REAL_UPPER_BOUND=2"},
      {{.type = Type::SampledValue, .finiteSet = onOff},
       {Data("on"), nullptr, nullptr, 9},
       "6",
       "INFO=on COLOR=on DURATION=9"},
      {{.type = Type::TracedValueTransition, .quantity = megahertz},
       {Data(800U), nullptr, cpu0_, 0},
       "7",
       "ENTITY=Package0/CPU0 QUANTITY=Frequency UINT=800 COLOR=#3E3577 DURATION=3000"},
      {{.type = Type::TracedValueTransition},
       {Data(Data::IntPair(-1, 2)), nullptr, nullptr, 0},
       "7",
       "INT_LOWER_BOUND=-1 INT_UPPER_BOUND=2 DURATION=3000"},
      {{.type = Type::TracedValueTransition},
       {Data(5), nullptr, nullptr, 0},
       "7",
       "INT=5 COLOR=#21918C DURATION=3000"},
      {{.type = Type::TracedValueTransition, .quantity = count_},
       {Data(5), nullptr, nullptr, 0},
       "7",
       "QUANTITY=Count INT=5 DURATION=3000"},
      {{.type = Type::TracedEvent},
       {Data(pwr::createHandle({.name = "a handle"})), nullptr, cpu0_, 12},
       "9",
       "ENTITY=Package0/CPU0 INFO=a handle DURATION=12"},
  };
  metadata_->edit().collectionStopTimestamp = 5000;
  for (const auto& testCase : kCases) {
    pwr::MetricDescription description = testCase.description;
    description.name = testCase.record;
    const auto* const described = pwr::createMetric(std::move(description));
    EXPECT_EQ(sample(described, 2000, {testCase.element, DataElement(Data(), c1_, cpu0_, 1)}), 0);
  }
  const std::string file = closed("run.pwr");
  const Lines records = linesOf(file, "data");
  const Lines classes = linesOf(file, "metric_type_id");
  ASSERT_EQ(records.size(), std::size(kCases));
  ASSERT_EQ(classes.size(), std::size(kCases));
  for (std::size_t n = 0; n < std::size(kCases); ++n) {
    std::string record = "2000 METRIC=";
    record.append(kCases[n].record).append(" ").append(kCases[n].record);
    EXPECT_EQ(records[n], record);
    EXPECT_NE(classes[n].find("  " + std::string(kCases[n].metricClass) + " "), std::string::npos)
        << classes[n];
  }
}

TEST_F(TimelineWriterTest, Descriptions) {
  const auto* const state = metric({.name = "Load",
                                    .featureTag = "load",
                                    .type = Type::SampledValue,
                                    .quantity = count_,
                                    .finiteSet = {Data(0U), Data(1U)}});
  DataElement shown(Data(1U), c1_, cpu1_, 0);
  shown.setKorvellDescriptor(descriptor("Shown"));
  for (const unsigned long long time : {2000U, 3000U}) {
    EXPECT_EQ(sample(residency_, time, {{Data(1U), c1_, cpu1_, 9}}), 0);
    EXPECT_EQ(sample(state, time, {shown}), 0);
  }
  const std::string file = closed("run.pwr");
  EXPECT_EQ(namesOf(file, "entity"),
            (Lines{"Package0 Package0 Package 0 -", "Package0/CPU1 CPU1 Thread 0 (Package0)"}));
  EXPECT_EQ(linesOf(file, "field"), (Lines{"C1 C1  0 -", "Shown Shown  0 -", "C6 C6  0 -"}));
  EXPECT_EQ(namesOf(file, "quantity"),
            (Lines{"Time ticks  1 -", "Rate /s  9 -", "Count % multiplier 0.5 0 (Rate)"}));
  EXPECT_EQ(linesOf(file, "tab_group"),
            (Lines{"Core C-State Core C-State  0 -", "Power power  0 -"}));
  EXPECT_EQ(namesOf(file, "timeline_group"),
            (Lines{"Core C-State Core C-State  0 (Core C-State)", "Power power  0 (Power)"}));
  EXPECT_EQ(namesOf(file, "state"), (Lines{"C1 C1  (C1) (CPU C-State)", "C6 C6  (C6) (CPU C-State)",
                                           "0 percent 0 percent  (#E69F00) (Load)",
                                           "1 percent 1 percent  (#56B4E9) (Load)"}));
  EXPECT_EQ(namesOf(file, "quantity_id"),
            (Lines{"CPU C-State Time  (Time) (CPU C-State)", "Load Count  (Count) (Load)"}));
  EXPECT_EQ(namesOf(file, "field_id"),
            (Lines{"CPU C-State C1  (C1) (CPU C-State)", "CPU C-State C6  (C6) (CPU C-State)",
                   "Load C1  (C1) (Load)", "Load C6  (C6) (Load)"}));
  EXPECT_EQ(linesOf(file, "data").back(),
            "3000 METRIC=Load ENTITY=Package0/CPU1 FIELD=Shown QUANTITY=Count UINT=1 "
            "COLOR=#56B4E9");
  EXPECT_EQ(linesOf(file, "color").front(), "C1 #BDDB3D  12442429 -");
}

TEST_F(TimelineWriterTest, GroupsByFeatureQuantityAndLevel) {
  const pwr::EntityHandle* const module = pwr::createEntity({.name = "M0", .level = "Module"});
  const pwr::Quantity* const celsius =
      pwr::createQuantity({.type = pwr::QuantityType::Temperature, .name = "Temperature"});
  const struct {
    const char* feature;
    const pwr::EntityHandle* entity;
    const pwr::Quantity* quantity;
    std::string timeline;
    std::string tab;
  } kCases[] = {
      {"pkg-cstate", package_, nullptr, "Package C-State", "Package C-State"},
      {"pkg-c-state", package_, nullptr, "Package C-State", "Package C-State"},
      {"mod-cstate", module, nullptr, "Module C-State", "Module C-State"},
      {"cstate", nullptr, nullptr, "Core C-State", "Core C-State"},
      {"wakeups", nullptr, nullptr, "Wakeups", "Wakeups"},
      {"interrupts", nullptr, nullptr, "Wakeups", "Wakeups"},
      {"s0ix-aborts", nullptr, nullptr, "Aborts", "Aborts"},
      {"vm", nullptr, nullptr, "VM Residency", "VM Residency"},
      {"anything", nullptr, celsius, "Temperature", "Thermals"},
      {"thermal", nullptr, nullptr, "Thermals", "Thermals"},
      {"gpu-temps", nullptr, nullptr, "Thermals", "Thermals"},
      {"anything", nullptr, nullptr, "Power", "Power"},
  };
  Lines timelines;
  Lines tabs;
  for (const auto& testCase : kCases) {
    const auto* const described = pwr::createMetric({.name = "M",
                                                     .featureTag = testCase.feature,
                                                     .quantity = testCase.quantity,
                                                     .combinations = {{testCase.entity, nullptr}}});
    EXPECT_EQ(sample(described, 2000, {{Data(1), nullptr, testCase.entity, 0}}), 0);
    for (const auto& [lines, name] :
         {std::pair(&timelines, testCase.timeline), std::pair(&tabs, testCase.tab)}) {
      lines->push_back(std::string("M ").append(name).append("  (").append(name).append(") (M)"));
    }
  }
  const std::string file = closed("run.pwr");
  EXPECT_EQ(namesOf(file, "timeline_group_id"), timelines);
  EXPECT_EQ(namesOf(file, "tab_group_id"), tabs);
  EXPECT_EQ(namesOf(file, "timeline_group").back(), "Power power  0 (Power)");
  EXPECT_EQ(linesOf(file, "tab_group")[6], "Thermals thermals  0 -");
}

TEST_F(TimelineWriterTest, StatesLastAsToldOrUntilTheNextOneOrTheStop) {
  const auto* const states = metric({.name = "State", .type = Type::TracedValueTransition});
  const auto* const gauge = pwr::createEntity({.name = "gauge"});
  const auto change = [&](unsigned long long time, const char* name,
                          const pwr::EntityHandle* entity, unsigned long long duration = 0) {
    return sample(states, time, {{Data(name), nullptr, entity, duration}});
  };
  EXPECT_EQ(change(1100, "gap behind", gauge, 50), 0);
  EXPECT_EQ(change(1300, "held", gauge), 0);
  EXPECT_EQ(change(1400, "told", gauge, 30), 0);
  EXPECT_EQ(change(1000, "a", cpu0_), 0);
  EXPECT_EQ(change(1500, "a", cpu1_), 0);
  EXPECT_EQ(change(1600, "b", cpu0_), 0);
  EXPECT_EQ(change(1550, "too early", cpu0_), 0);
  EXPECT_EQ(change(9000, "end", cpu1_), 0);
  metadata_->edit().collectionStopTimestamp = 8000;
  EXPECT_EQ(linesOf(closed("run.pwr"), "data"),
            (Lines{"1100 METRIC=State ENTITY=gauge INFO=gap behind COLOR=gap behind DURATION=50",
                   "1300 METRIC=State ENTITY=gauge INFO=held COLOR=held DURATION=100",
                   "1400 METRIC=State ENTITY=gauge INFO=told COLOR=told DURATION=30",
                   "1000 METRIC=State ENTITY=Package0/CPU0 INFO=a COLOR=a DURATION=600",
                   "1500 METRIC=State ENTITY=Package0/CPU1 INFO=a COLOR=a DURATION=7500",
                   "1600 METRIC=State ENTITY=Package0/CPU0 INFO=b COLOR=b DURATION=6400",
                   "9000 METRIC=State ENTITY=Package0/CPU1 INFO=end COLOR=end"}));
}

TEST_F(TimelineWriterTest, SamplesOutOfTimeOrderAreDropped) {
  constexpr const char* kStart =
      "FATAL: KorvellWriterPlugin:    Current sample TSC is <= collection start TSC. Samples are "
      "required to be monotonically increasing in time. ";
  constexpr const char* kPrevious =
      "FATAL: KorvellWriterPlugin:    Current sample TSC is <= previous sample's TSC. Samples are "
      "required to be monotonically increasing in time. ";
  const std::string id = std::to_string(value_->id);
  const std::string series0 =
      "'Value:Package0/CPU0 (metric " + id + " entity " + std::to_string(cpu0_->getId()) + ")' ";
  const struct {
    unsigned long long time;
    const pwr::EntityHandle* entity;
    std::string line;
    PWLogLevel level = PW_LOG_DEBUG;  ///< the first fault of a series is for everyone
  } kSamples[] = {
      {1000, cpu0_, ""},
      {1000, cpu0_, ""},
      {999, cpu0_, kStart + series0 + "current TSC: 999 <= collection start TSC: 1000\n",
       PW_LOG_NOTE},
      {1005, cpu0_, ""},
      {1000, cpu1_, ""},
      {1000, cpu0_, kPrevious + series0 + "current TSC: 1000 <= previous TSC: 1005\n"},
      {1005, cpu0_, kPrevious + series0 + "current TSC: 1005 <= previous TSC: 1005\n"},
      {1006, cpu0_, ""},
  };
  constexpr std::size_t kAccepted = 5;
  for (const PWLogLevel verbosity : {PW_LOG_DEBUG, PW_LOG_NOTE}) {
    reopen();
    g_pluginEnvironment->setVerbosity(verbosity);
    for (const auto& [time, entity, line, level] : kSamples) {
      log_.clear();
      EXPECT_EQ(sample(value_, time, {{Data(1), nullptr, entity, 0}}), 0);
      const std::size_t fatal = log_.all().find("FATAL");
      EXPECT_EQ(fatal == std::string::npos ? "" : log_.all().substr(fatal),
                level <= verbosity ? line : "");
    }
  }
  g_pluginEnvironment->setVerbosity(static_cast<PWLogLevel>(-1));
  log_.clear();
  EXPECT_EQ(sample(value_, 999, {{Data(1), nullptr, cpu1_, 0}}), 0);
  EXPECT_EQ(log_.all(), "");
  EXPECT_EQ(linesOf(closed("run.pwr"), "data").size(), kAccepted);
}

TEST_F(TimelineWriterTest, UnsupportedMetricsLeaveNothingButANote) {
  // More attributes than a record can have, from some sample on.
  const auto* const attribute = pwr::Attribute::create("Much", nullptr, pwr::AttributeType::Info);
  const auto stateWith = [&](int infos) {
    const auto many = std::make_shared<pwr::DynamicAttributeValueManager>();
    for (int n = 0; n < infos; ++n) many->addAttributeValue(attribute->getId(), Data("much"));
    DataElement element(Data("state"), nullptr, cpu0_, 0);
    element.setAdditionalInfo(many);
    return element;
  };
  const DataElement tooMuch = stateWith(2048);
  const struct {
    std::string name;
    DataElement element;
    Type type;
    bool isSupported;
  } kCases[] = {
      {"Late", tooMuch, Type::TracedEvent, false},
      {"Held", tooMuch, Type::TracedValueTransition, false},
      // Metric, entity, value and colour fill the record, so that the duration finds no place.
      {"Full", stateWith(2048 - 4), Type::TracedValueTransition, false},
      {"Package C-State Debug Counters", {Data(1), c1_, cpu0_, 0}, Type::SampledValue, false},
      {"CPU PkgC Dbg", {Data(1), c1_, cpu0_, 0}, Type::SampledValue, false},
      {"The TypeC Subsystem", {Data(1), c1_, cpu0_, 0}, Type::SampledValue, false},
      {"S0ix Substate Requirements", {Data(1), c1_, cpu0_, 0}, Type::SampledValue, false},
      {"cpu pkgc dbg", {Data(1), c1_, cpu0_, 0}, Type::SampledValue, true},
      {std::string(399 - 6, 'n'), {Data(1), c1_, cpu0_, 0}, Type::SampledValue, true},
      {std::string(399 - 5, 'n'), {Data(1), c1_, cpu0_, 0}, Type::SampledValue, false},
  };
  std::string notes;
  std::size_t supported = 0;
  for (const auto& testCase : kCases) {
    const auto* const described = metric({.name = testCase.name, .type = testCase.type});
    const bool startsWell = testCase.element.getAdditionalInfo() != nullptr;
    if (startsWell) {
      EXPECT_EQ(sample(described, 1500, {{Data("fine"), c1_, cpu0_, 0}}), 0);
    }
    EXPECT_EQ(sample(described, 2000, {testCase.element}), testCase.isSupported ? 0 : 1);
    EXPECT_EQ(sample(described, 3000, {{Data(1), c1_, cpu0_, 0}}), testCase.isSupported ? 0 : 1);
    if (testCase.isSupported) {
      ++supported;
    } else {
      notes += "Note: The .pwr file will not contain data associated with '" + testCase.name +
               "'. This metric is not supported for visualization in Korvell(TM).\n";
    }
  }
  EXPECT_NE(log_.all().find("Maximum attribute count '2048' exceeded.\n"), std::string::npos);
  EXPECT_NE(log_.all().find("WARNING: KorvellWriterPlugin:    Metric name too long.\n"),
            std::string::npos);
  log_.clear();
  const std::string file = closed("run.pwr");
  EXPECT_EQ(log_.all(), notes);
  EXPECT_EQ(linesOf(file, "data").size(), 2 * supported);
  EXPECT_EQ(linesOf(file, "metric").size(), supported);
}

TEST_F(TimelineWriterTest, StatesThatAreNumbersShareTheirColors) {
  const pwr::Quantity* const hertz = pwr::createQuantity(
      {.type = pwr::QuantityType::Frequency, .name = "Frequency", .units = "Hz"});
  const auto* const states =
      metric({.name = "Clock", .type = Type::TracedValueTransition, .quantity = hertz});
  for (unsigned int n = 0; n < 20000; ++n) {
    EXPECT_EQ(sample(states, 2000 + n, {{Data(n * 400'000ULL), nullptr, cpu0_, 0}}), 0);
  }
  const double strange[] = {std::nan(""), -1.0, 1e300, HUGE_VAL};
  for (unsigned int n = 0; n < std::size(strange); ++n) {
    EXPECT_EQ(sample(states, 90000 + n, {{Data(strange[n]), nullptr, cpu0_, 0}}), 0);
  }
  const std::string file = closed("run.pwr");
  EXPECT_LT(linesOf(file, "color").size(), 640U);
  EXPECT_EQ(linesOf(file, "data").size(), 20000 + std::size(strange));
}

TEST_F(TimelineWriterTest, DescriptionsThatAreKnownAreToldForDebugging) {
  g_pluginEnvironment->setVerbosity(PW_LOG_DEBUG);
  for (const auto* cpu : {cpu0_, cpu1_}) {
    EXPECT_EQ(sample(residency_, 2000, {{Data(1U), c1_, cpu, 9}, {Data(2U), c6_, cpu, 9}}), 0);
  }
  closed("run.pwr");
  const std::string start = "DEBUG: KorvellWriterPlugin:    ";
  for (const char* line :
       {"Entity 'CPU0' metadata", "Entity 'Package0' topology", "Entity 'CPU1' metadata",
        "State 'C1' metadata", "State 'C6' metadata"}) {
    EXPECT_NE(log_.all().find(start + line + " already processed. Skipping...\n"),
              std::string::npos)
        << line;
  }
}

TEST_F(TimelineWriterTest, EntitiesBelowTooManyOthersAreRefused) {
  const pwr::EntityHandle* entity = nullptr;
  std::vector<const pwr::EntityHandle*> chain;
  for (int n = 0; n < 100000; ++n) {
    entity = pwr::createEntity({.name = "E" + std::to_string(n), .parent = entity});
    chain.push_back(entity);
  }
  const auto* const other = metric({.name = "Deep"});
  EXPECT_EQ(sample(value_, 2000, {{Data(1), nullptr, chain[255], 0}}), 0);
  EXPECT_EQ(log_.all(), "");
  EXPECT_EQ(sample(other, 2000, {{Data(1), nullptr, chain[256], 0}}), 1);
  EXPECT_EQ(sample(metric({}), 2000, {{Data(1), nullptr, entity, 0}}), 1);
  EXPECT_EQ(log_.all(),
            "WARNING: KorvellWriterPlugin:    Entity 'E256' is below more than 255 "
            "others.\nWARNING: KorvellWriterPlugin:    Entity 'E99999' is below more "
            "than 255 others.\n");
  const std::string file = closed("run.pwr");
  EXPECT_EQ(linesOf(file, "entity").size(), 256U);
  EXPECT_EQ(linesOf(file, "data").size(), 1U);
}

TEST_F(TimelineWriterTest, TextsAreKeptAsTheyAre) {
  using namespace std::string_literals;
  const pwr::Quantity* const bare = pwr::createQuantity({.name = "Bare"});
  const pwr::Attribute* const range = pwr::Attribute::create("R", bare, pwr::AttributeType::Info);
  const pwr::Attribute* const plain = pwr::Attribute::create("", nullptr, pwr::AttributeType::Info);
  const auto attributes = std::make_shared<pwr::AttributeValueManager>();
  attributes->addAttributeValue(range, Data(Data::RealPair(0.5, -2)));
  attributes->addAttributeValue(plain, Data("\xff\x80"));
  DataElement element(Data("a\0b"s), nullptr, nullptr, 0);
  element.setAttributes(attributes);
  EXPECT_EQ(sample(value_, 2000, {element}), 0);
  EXPECT_EQ(sample(value_, 3000, {{Data("a\0c"s), nullptr, nullptr, 0}}), 0);
  EXPECT_EQ(sample(value_, 4000, {{Data(std::string(70000, '\x80')), nullptr, nullptr, 0}}), 0);
  const std::string file = closed("run.pwr");
  EXPECT_NE(file.find("a\0ba\0bnameid_attribute\0"s), std::string::npos);
  const Lines data = linesOf(file, "data");
  EXPECT_EQ(data[0].substr(0, 56), "2000 METRIC=Value INFO=a\\x00b INFO=R: 0.5 - -2() INFO=: ");
  EXPECT_EQ(data[1], "3000 METRIC=Value INFO=a\\x00c");
  EXPECT_EQ(linesOf(file, "nameid_attribute").size(), 5U);
}

TEST_F(TimelineWriterTest, LongTextsAreCutBetweenCharacters) {
  // 191 bytes have room: the last character that fits begins at 190.
  const std::string text(189, 'x');
  EXPECT_EQ(sample(value_, 2000, {{Data(text + "\u00e4\u00e4"), nullptr, nullptr, 0}}), 0);
  EXPECT_EQ(linesOf(closed("run.pwr"), "data"), Lines{"2000 METRIC=Value INFO=" + text + "\u00e4"});
}

TEST_F(TimelineWriterTest, RunsWithoutAFile) {
  constexpr const char* kNote =
      "Note: A .pwr result file was not created. No supported metric was found.\n";
  const auto lastLine = [&] {
    EXPECT_TRUE(std::filesystem::is_empty("."));
    return log_.all().substr(log_.all().rfind('\n', log_.all().size() - 2) + 1);
  };
  writer_ = std::make_unique<KorvellWriter>();
  EXPECT_EQ(writer_->openOutput("run", false), 0);
  for (int n = 0; n < 2; ++n) {
    EXPECT_EQ(sample(residency_, 2000, {{Data(1U), c1_, cpu0_, 9}}), 1);
  }
  EXPECT_EQ(writer_->closeOutput(), 0);
  const std::string start = "WARNING: KorvellWriterPlugin:    ";
  EXPECT_EQ(log_.all(),
            start + "Metric 'CPU C-State' came before the system message and is refused.\n" +
                start + "Failed to obtain a system metadata message.\n" + kNote);

  EXPECT_EQ(writer_->openOutput("run", false), 0);
  EXPECT_EQ(system(0), 1);
  EXPECT_EQ(sample(residency_, 2000, {{Data(1U), c1_, cpu0_, 9}}), 1);
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(lastLine(), kNote);
}

TEST_F(TimelineWriterTest, AFileThatCannotBeCreatedIsAFailure) {
  EXPECT_EQ(sample(residency_, 2000, {{Data(1U), c1_, cpu0_, 9}}), 0);
  obstruct("run.pwr");
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(log_.all(), "WARNING: KorvellWriterPlugin:    Could not create run.pwr\n");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 1) << "the folder alone";
}

TEST_F(TimelineWriterTest, AWriterBeginsAnew) {
  const auto record = [&] {
    EXPECT_EQ(sample(value_, 2000, {{Data("text"), nullptr, cpu0_, 0}}), 0);
    return closed("run.pwr").size();
  };
  const std::size_t size = record();
  std::filesystem::remove("run.pwr");
  // Nothing of a run that failed or was refused stays behind.
  EXPECT_EQ(writer_->openOutput("run", false), 0);
  EXPECT_EQ(system(0), 1);
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(sample(value_, 3000, {{Data(1), nullptr, cpu0_, 0}}), 1);
  EXPECT_EQ(writer_->openOutput("run", false), 0);
  EXPECT_EQ(system(100), 0);
  EXPECT_EQ(record(), size);
}

TEST(StateColors, DarkerTheDeeperAndStableForOtherNames) {
  const auto lightness = [](const char* name) {
    const std::uint32_t color = stateColor(name);
    return 0.2126 * (color >> 16U) + 0.7152 * (color >> 8U & 0xFFU) + 0.0722 * (color & 0xFFU);
  };
  const std::vector<const char*> kFromLightToDark[] = {
      {"C0", "POLL", "C1", "C1E", "C3", "CC6", "PC8", "C10"},
      {"P0", "P1", "P8"},
      {"D0", "D1", "D2", "D0i3", "D3hot"},
      {"Active", "idle", "Off"},
      {"S0", "S3", "S0i3", "S5"},
      {"4.2 GHz", "3600 MHz", "800000 kHz", "0 Hz"},
      {"Guest", "cpu-sleep-0", "cpu-sleep-1", "cluster-sleep-0", "suspend"},
      {"L0", "L0s", "L1", "L1.2", "L2", "L3"},
      {"running", "standby", "Suspend"},
      {"Active", "state0", "state1", "state2"},
  };
  for (const auto& names : kFromLightToDark) {
    for (std::size_t n = 1; n < names.size(); ++n) {
      EXPECT_GT(lightness(names[n - 1]), lightness(names[n])) << names[n];
    }
  }
  const std::pair<const char*, const char*> kSame[] = {
      {"C1_ACPI", "C1"},        {"c1e_acpi", "C1E"},
      {"C3-x", "C3"},           {"RC6", "C6"},
      {"Guest", "user"},        {"standby", "sleep"},
      {"suspend", "suspended"}, {"cpu-sleep-0-1", "cpu-sleep-0"},
  };
  for (const auto& [name, same] : kSame) EXPECT_EQ(stateColor(name), stateColor(same)) << name;
  EXPECT_EQ(stateColor(6, ""), stateColor("C6"));
  EXPECT_EQ(stateColor(2.4, "GHz"), stateColor("2400 MHz"));
  EXPECT_EQ(stateColor(-12, ""), stateColor(4, "mV"));
  EXPECT_EQ(stateColor("C0"), 0xFDE725U);
  EXPECT_EQ(stateColor("C10"), 0x440154U);
  EXPECT_EQ(stateColor("info"), stateColor("info"));
  EXPECT_EQ(stateColor("something else"), 0x0072B2U);
}

}  // namespace
