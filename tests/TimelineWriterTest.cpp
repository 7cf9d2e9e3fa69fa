// The timeline writer from the message to the file, which the reader gives back as text.

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "ColumnWriterTestSupport.h"
#include "readers/PwrReader.h"
#include "readers/PwrText.h"
#include "writers/timeline/KorvellWriter.h"
#include "writers/timeline/StateColors.h"

namespace {

using column_test::descriptor;
using pwr::Data;
using pwr::DataElement;
using Type = pwr::Metric::MetricType;
using Lines = std::vector<std::string>;

/// The lines about records of a kind, without the tabs: "data", or "info" and a type.
Lines linesOf(const std::string& bytes, const std::string& kind) {
  std::istringstream file(bytes);
  pwrfile::PwrReader reader;
  Lines lines;
  pwrfile::PwrText text(reader, [&](const std::string& line) {
    std::string plain = line;
    std::ranges::replace(plain, '\t', ' ');
    // An id of the process is of no interest.
    if (plain.starts_with("info ")) plain.erase(0, plain.find(' ', 5) + 1);
    if (plain.starts_with(kind + " ")) lines.push_back(plain.substr(kind.size() + 1));
  });
  reader.readFile(file, text);
  return lines;
}

/// Without what is "NUMBER (NAME)" but the name.
Lines namesOf(const std::string& bytes, const std::string& kind) {
  Lines lines = linesOf(bytes, kind);
  for (std::string& line : lines) {
    for (std::size_t end = line.find(" ("); end != std::string::npos; end = line.find(" (", end)) {
      const std::size_t start = line.find_last_not_of("0123456789", end - 1) + 1;
      line.erase(start, end + 1 - start);
      end = start + 1;
    }
  }
  return lines;
}

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
       "ENTITY=Package0/CPU0 QUANTITY=Frequency UINT=800 COLOR=800 MHz DURATION=3000"},
      {{.type = Type::TracedValueTransition},
       {Data(Data::IntPair(-1, 2)), nullptr, nullptr, 0},
       "7",
       "INT_LOWER_BOUND=-1 INT_UPPER_BOUND=2 DURATION=3000"},
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
                                           "0 percent 0 percent  (0 percent) (Load)",
                                           "1 percent 1 percent  (1 percent) (Load)"}));
  EXPECT_EQ(namesOf(file, "quantity_id"),
            (Lines{"CPU C-State Time  (Time) (CPU C-State)", "Load Count  (Count) (Load)"}));
  EXPECT_EQ(namesOf(file, "field_id"),
            (Lines{"CPU C-State C1  (C1) (CPU C-State)", "CPU C-State C6  (C6) (CPU C-State)",
                   "Load C1  (C1) (Load)", "Load C6  (C6) (Load)"}));
  EXPECT_EQ(linesOf(file, "data").back(),
            "3000 METRIC=Load ENTITY=Package0/CPU1 FIELD=Shown QUANTITY=Count UINT=1 "
            "COLOR=1 percent");
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
    const char* group;  // timeline and, in parentheses, tab
  } kCases[] = {
      {"pkg-cstate", package_, nullptr, "Package C-State Package C-State  0 (Package C-State)"},
      {"mod-cstate", module, nullptr, "Module C-State Module C-State  0 (Module C-State)"},
      {"cstate", nullptr, nullptr, "Core C-State Core C-State  0 (Core C-State)"},
      {"wakeups", nullptr, nullptr, "Wakeups Wakeups  0 (Wakeups)"},
      {"s0ix-aborts", nullptr, nullptr, "Aborts Aborts  0 (Aborts)"},
      {"vm", nullptr, nullptr, "VM Residency VM Residency  0 (VM Residency)"},
      {"thermal", nullptr, celsius, "Temperature temperature  0 (Thermals)"},
      {"thermal", nullptr, nullptr, "Thermals thermals  0 (Thermals)"},
      {"anything", nullptr, nullptr, "Power power  0 (Power)"},
  };
  Lines expected;
  for (const auto& testCase : kCases) {
    const auto* const described = pwr::createMetric({.name = "M",
                                                     .featureTag = testCase.feature,
                                                     .quantity = testCase.quantity,
                                                     .combinations = {{testCase.entity, nullptr}}});
    EXPECT_EQ(sample(described, 2000, {{Data(1), nullptr, testCase.entity, 0}}), 0);
    expected.emplace_back(testCase.group);
  }
  EXPECT_EQ(namesOf(closed("run.pwr"), "timeline_group"), expected);
}

TEST_F(TimelineWriterTest, StatesLastUntilTheNextOneOrTheStop) {
  const auto* const states = metric({.name = "State", .type = Type::TracedValueTransition});
  const auto change = [&](unsigned long long time, const char* name,
                          const pwr::EntityHandle* entity) {
    return sample(states, time, {{Data(name), nullptr, entity, 5}});
  };
  EXPECT_EQ(change(1000, "a", cpu0_), 0);
  EXPECT_EQ(change(1500, "a", cpu1_), 0);
  EXPECT_EQ(change(1600, "b", cpu0_), 0);
  EXPECT_EQ(change(1550, "too early", cpu0_), 0);
  EXPECT_EQ(change(9000, "after the stop", cpu1_), 0);
  metadata_->edit().collectionStopTimestamp = 8000;
  EXPECT_EQ(linesOf(closed("run.pwr"), "data"),
            (Lines{"1000 METRIC=State ENTITY=Package0/CPU0 INFO=a COLOR=a DURATION=600",
                   "1500 METRIC=State ENTITY=Package0/CPU1 INFO=a COLOR=a DURATION=7500",
                   "1600 METRIC=State ENTITY=Package0/CPU0 INFO=b COLOR=b DURATION=6400",
                   "9000 METRIC=State ENTITY=Package0/CPU1 INFO=after the stop "
                   "COLOR=after the stop"}));
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
  } kSamples[] = {
      {1000, cpu0_, ""},
      {1000, cpu0_, ""},
      {999, cpu0_, kStart + series0 + "current TSC: 999 <= collection start TSC: 1000\n"},
      {1005, cpu0_, ""},
      {1000, cpu1_, ""},
      {1000, cpu0_, kPrevious + series0 + "current TSC: 1000 <= previous TSC: 1005\n"},
      {1005, cpu0_, kPrevious + series0 + "current TSC: 1005 <= previous TSC: 1005\n"},
      {1006, cpu0_, ""},
  };
  std::size_t accepted = 0;
  for (const auto& [time, entity, line] : kSamples) {
    log_.clear();
    EXPECT_EQ(sample(value_, time, {{Data(1), nullptr, entity, 0}}), 0);
    EXPECT_EQ(log_.all(), line);
    if (line.empty()) ++accepted;
  }
  g_pluginEnvironment->setVerbosity(static_cast<PWLogLevel>(-1));
  log_.clear();
  EXPECT_EQ(sample(value_, 1006, {{Data(1), nullptr, cpu0_, 0}}), 0);
  EXPECT_EQ(log_.all(), "");
  EXPECT_EQ(linesOf(closed("run.pwr"), "data").size(), accepted);
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

TEST_F(TimelineWriterTest, ProcessesAndThreads) {
  const auto event = [](const std::vector<std::pair<const char*, Data>>& values) {
    DataElement element(Data("alarm"), nullptr, nullptr, 40);
    auto attributes = std::make_shared<pwr::AttributeValueManager>();
    for (const auto& [name, value] : values) {
      attributes->addAttributeValue(pwr::Attribute::create(name, nullptr, pwr::AttributeType::Int),
                                    value);
    }
    element.setAttributes(attributes);
    return element;
  };
  const auto* const wakelock =
      pwr::createMetric({.name = "Wakelock", .featureTag = "wakelock", .type = Type::TracedEvent});
  const std::vector<DataElement> events[] = {
      {event({{"PID", Data(7)}, {"TID", Data(71U)}, {"Reason", Data("user")}})},
      {event({{"TID", Data(72)}, {"Nothing", Data()}, {"Share", Data(0.5)}})},
      {event({{"PID", Data(99)}})},
      {event({{"PID", Data("a text")}})},
  };
  unsigned long long time = 2000;
  for (const auto& elements : events) EXPECT_EQ(sample(wakelock, time += 10, elements), 0);
  // 1 and 2 are each other's parents, which cannot be; 7 is used twice.
  metadata_->edit().processes = {{7, 8, "/bin/old", 5, 20},
                                 {7, 8, "/bin/new", 30, 0},
                                 {8, 0, std::string(500, 'p'), 1, 0},
                                 {1, 2, "", 1, 2},
                                 {2, 1, "two", 1, 2}};
  metadata_->edit().threads = {{8, 72, 3, 4}};
  const std::string file = closed("run.pwr");
  EXPECT_EQ(linesOf(file, "data"),
            (Lines{"2010 METRIC=Wakelock PROCESS=/bin/new THREAD=Thread 71 INFO=alarm "
                   "INFO=Reason: user DURATION=40",
                   "2020 METRIC=Wakelock THREAD=Thread 72 INFO=alarm INFO=Share: 0.5 DURATION=40",
                   "2030 METRIC=Wakelock PROCESS=Process 99 INFO=alarm DURATION=40",
                   "2040 METRIC=Wakelock INFO=alarm INFO=PID: a text DURATION=40"}));
  const std::string longest(196, 'p');  // half of what the names have room for
  EXPECT_EQ(namesOf(file, "process"),
            (Lines{"two two start 1 end 2 2 -", "Process 1 Process 1 start 1 end 2 1 (two)",
                   longest + " " + longest + "  8 -",
                   "/bin/new new start 5 end 20; start 30 end 0 7 (" + longest + ")",
                   "Process 99 Process 99  99 -"}));
  EXPECT_EQ(namesOf(file, "thread"), (Lines{"Thread 71 71  71 (/bin/new)",
                                            "Thread 72 72 start 3 end 4 72 (" + longest + ")"}));
  EXPECT_EQ(namesOf(file, "nameid_attribute").size(), 4U);
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
  EXPECT_EQ(sample(residency_, 2000, {{Data(1U), c1_, cpu0_, 9}}), 1);
  EXPECT_EQ(writer_->closeOutput(), 0);
  EXPECT_EQ(log_.all(),
            std::string("WARNING: KorvellWriterPlugin:    Failed to obtain a system metadata "
                        "message.\n") +
                kNote);

  EXPECT_EQ(writer_->openOutput("run", false), 0);
  EXPECT_EQ(system(0), 1);
  EXPECT_EQ(sample(residency_, 2000, {{Data(1U), c1_, cpu0_, 9}}), 1);
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(lastLine(), kNote);
}

TEST_F(TimelineWriterTest, FullDisk) {
  if (kIsWindows) GTEST_SKIP() << kNoFullDevice;
  reopenOnFullDisk("run.pwr");
  EXPECT_EQ(sample(residency_, 2000, {{Data(1U), c1_, cpu0_, 9}}), 0);
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_NE(log_.all().find("buffer to main output file. \n"), std::string::npos);
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
  };
  for (const auto& names : kFromLightToDark) {
    for (std::size_t n = 1; n < names.size(); ++n) {
      EXPECT_GT(lightness(names[n - 1]), lightness(names[n])) << names[n];
    }
  }
  EXPECT_EQ(stateColor("C0"), 0xFDE725U);
  EXPECT_EQ(stateColor("C10"), 0x440154U);
  EXPECT_EQ(stateColor("info"), stateColor("info"));
  EXPECT_EQ(stateColor("something else"), 0x0072B2U);
}

}  // namespace
