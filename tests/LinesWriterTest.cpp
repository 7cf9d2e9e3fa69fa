// The writer "lines": how points are spelled, what joins in a line, when they are, and what is told
// of those that a line cannot have. Whole recordings against another reader: lines_test.py.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

#include "LinesTestSupport.h"
#include "exporters/lines/LineClock.h"
#include "exporters/lines/LineText.h"
#include "formats/metric_kinds.h"

namespace {

using pwr::Data;
using Type = pwr::Metric::MetricType;

const auto* const g_package = pwr::createEntity({.name = "Package0", .level = "Package"});
const auto* const g_cpu0 =
    pwr::createEntity({.name = "CPU0", .level = "Thread", .parent = g_package});
const auto* const g_cpu1 =
    pwr::createEntity({.name = "CPU1", .level = "Thread", .parent = g_package});
const auto* const g_c1 = descriptor("C1");
const auto* const g_c6 = descriptor("C6");

TEST(LinesText, TagValues) {
  const std::string longText(pwr::kMostTagText - 1, 'x');
  const struct {
    std::string text;
    std::string spelled;
    bool isWhole = true;
  } cases[] = {
      {"CPU0", "CPU0"},
      {"a b,c=d", "a\\ b\\,c\\=d"},
      {"", "(none)"},
      {"C:\\dir\\", "C:\\dir/"},
      {"a\\ b\\,c\\\\d", "a/\\ b/\\,c/\\d"},
      {"tab\tline\nend\r", "tab\\ line\\ end\\ "},
      {"\\\n", "/\\ "},
      {"\"quoted\"", "\"quoted\""},
      {"Gr\u00F6\u00DFe \u6E29", "Gr\u00F6\u00DFe\\ \u6E29"},
      {"\xFF"
       "a",
       "\uFFFD"
       "a"},
      {longText + "y", longText + "y"},
      {longText + "yz", longText + "y", false},
      {longText + "\u00E9", longText, false},  // no part of a character
  };
  for (const auto& [text, spelled, isWhole] : cases) {
    std::string tags;
    EXPECT_EQ(pwr::appendTag(tags, "k", text), isWhole) << text;
    EXPECT_EQ(tags, ",k=" + spelled) << text;
  }
}

TEST(LinesText, NumbersAreTheShortestOnesThatReadBack) {
  const pwr::BaseUnit plain{};
  const pwr::BaseUnit ticks{.name = "seconds", .divisor = 1e9};
  const pwr::BaseUnit megahertz{.name = "hertz", .factor = 1e6};
  const struct {
    pwr::BaseUnit unit;
    Data value;
    const char* text;
    lines::ValueText::Result result = lines::ValueText::Result::Spelled;
  } cases[] = {
      {plain, Data(0), "0"},
      {plain, Data(-5), "-5"},
      {plain, Data(0.1), "0.1"},
      {plain, Data(-0.0), "-0"},
      {plain, Data(1e300), "1e+300"},
      {plain, Data(999'999'999'999'999), "999999999999999"},
      {plain, Data(1ULL << 53U), "9007199254740992"},
      {plain, Data((1ULL << 53U) + 1), "9007199254740992", lines::ValueText::Result::Rounded},
      {plain, Data(std::numeric_limits<long long>::min()), "-9223372036854775808",
       lines::ValueText::Result::Rounded},
      {plain, Data(~0ULL), "18446744073709551616", lines::ValueText::Result::Rounded},
      {ticks, Data(99'999'999U), "0.099999999"},
      {ticks, Data(100'000'000U), "0.1"},
      {ticks, Data(-1'500'000'000LL), "-1.5"},
      {ticks, Data(1U), "0.000000001"},
      {ticks, Data(0U), "0"},
      {megahertz, Data(2400U), "2.4e+09"},
      {megahertz, Data(800.5), "800500000"},
      {plain, Data(std::nan("")), "", lines::ValueText::Result::LeftOut},
      {megahertz, Data(1e305), "", lines::ValueText::Result::LeftOut},
  };
  for (const auto& [unit, value, text, result] : cases) {
    std::string spelled;
    EXPECT_EQ(lines::ValueText(unit).append(spelled, value), result) << text;
    EXPECT_EQ(spelled, text);
  }
}

constexpr unsigned long long kStart = 1'795'268'467'443'586'815;

TEST(LinesClock, TimesAreExact) {
  const auto time = [](unsigned int clockMHz, float tscMHz, unsigned long long start,
                       unsigned long long ticks, unsigned long long startNs = kStart) {
    pwr::SystemMetadata system;
    system.edit().tscFrequencyMHz = tscMHz;
    system.edit().timestampClockFrequencyMHz = clockMHz;
    system.edit().collectionStartTimestamp = start;
    return lines::LineClock(system, startNs).nanoseconds(ticks);
  };
  EXPECT_EQ(time(1000, 0, 7, 8), kStart + 1);
  EXPECT_EQ(time(1000, 0, 8, 7), kStart - 1);
  EXPECT_EQ(time(3, 0, 0, 1), kStart + 333);
  EXPECT_EQ(time(3, 0, 1, 0), kStart - 334) << "rounded down on both sides";
  // A hundred years at 2.4 GHz: 64 bits do not hold a thousand times as many ticks.
  EXPECT_EQ(time(2400, 0, 0, 2'400'000'001ULL * 3'155'760'000), kStart + 3'155'760'001'314'900'000);
  EXPECT_EQ(time(0, 2419.25F, 0, 2'419'250'000'000), kStart + 1'000'000'000'000);
  EXPECT_EQ(time(0, 0, 0, 5), kStart + 5000) << "a clock that nothing is known of";
  EXPECT_EQ(time(1000, 0, 9, 0, 10), 1U);
  EXPECT_EQ(time(1000, 0, 9, 0, 8), std::nullopt) << "before 1970";
  EXPECT_EQ(time(1000, 0, 0, ~0ULL), std::nullopt) << "behind all times that engines have";
}

/// The residencies of two CPUs.
const pwr::MetricDescription* residencies() {
  return pwr::createMetric(
      {.name = "CPU C-State",
       .type = Type::SampledResidency,
       .quantity = pwr::Quantity::time(),
       .combinations = {{g_cpu0, g_c1}, {g_cpu0, g_c6}, {g_cpu1, g_c1}, {g_cpu1, g_c6}}});
}

TEST(LinesWriter, ALineForEachEntityAndTime) {
  LinesTrial trial;
  const auto* const metric = residencies();
  const auto point = [](const pwr::EntityHandle* entity, const pwr::DataDescriptor* descriptor,
                        unsigned int ticks) {
    return pwr::DataElement(Data(ticks), descriptor, entity, 100);
  };
  trial.deliver(metric, 0,
                {point(g_cpu0, g_c1, 250'000'000), point(g_cpu0, g_c6, 1), point(g_cpu1, g_c1, 0),
                 point(g_cpu1, g_c6, 100)});
  // The order of elements makes no difference but to that of fields.
  trial.deliver(metric, 100,
                {point(g_cpu0, g_c6, 0), point(g_cpu1, g_c6, 0), point(g_cpu0, g_c1, 0),
                 point(nullptr, g_c1, 5)});
  const std::string machine = "cpu_c_state_seconds,host=lab";
  const std::string cpu0 = machine + ",package=Package0,thread=CPU0 ";
  const std::string cpu1 = machine + ",package=Package0,thread=CPU1 ";
  EXPECT_EQ(trial.finish(),
            (Lines{cpu0 + "c1=0.25,c6=0.000000001 1000000000000",
                   cpu1 + "c1=0,c6=0.0000001 1000000000000", cpu0 + "c6=0,c1=0 1000000000100",
                   cpu1 + "c6=0 1000000000100", machine + " c1=0.000000005 1000000000100"}));
  EXPECT_EQ(trial.log().all(), "");
}

TEST(LinesWriter, ValuesOfAllKinds) {
  LinesTrial trial;
  const auto* const metric = pwr::createMetric({.name = "It", .combinations = {{g_package, g_c1}}});
  const auto* const state = pwr::createHandle({.type = pwr::DataHandleType::State, .name = "D 3"});
  unsigned long long time = 0;
  for (const Data& value :
       {Data(-1.5), Data("off, now"), Data(state), Data(Data::IntPair(-1, 2)),
        Data(Data::RealPair(0.5, std::numeric_limits<double>::infinity())), Data(),
        Data(std::nan("")), Data(static_cast<const pwr::DataHandle*>(nullptr)),
        Data((1ULL << 60U) + 1)}) {
    trial.deliver(metric, time++, {{value, nullptr, nullptr, 0}});
  }
  EXPECT_EQ(trial.finish(), (Lines{"it,host=lab value=-1.5 1000000000000",
                                   "it,host=lab,state=off\\,\\ now value=1 1000000000001",
                                   "it,host=lab,state=D\\ 3 value=1 1000000000002",
                                   "it,host=lab value_first=-1,value_last=2 1000000000003",
                                   "it,host=lab value_first=0.5 1000000000004",
                                   "it,host=lab value=1152921504606846976 1000000000008"}));
  EXPECT_EQ(
      trial.log().all(),
      "WARNING: Integers of It are beyond 2^53: their last digits are lost, as all numbers of "
      "lines are reals.\nWARNING: Lines: 2 values are left out: they are not finite.\n");
}

TEST(LinesWriter, AttributesAreTagsAndFields) {
  LinesTrial trial;
  const auto* const metric =
      pwr::createMetric({.name = "Running Task", .type = Type::TracedValueTransition});
  const auto* const pid = pwr::Attribute::create("PID", nullptr, pwr::AttributeType::Int);
  const auto* const late =
      pwr::Attribute::create("Delay", pwr::Quantity::time(), pwr::AttributeType::UInt);
  const auto* const why = pwr::Attribute::create("State", nullptr, pwr::AttributeType::String);
  pwr::AttributeValueManager values;
  values.addAttributeValue(pid, Data(12));
  values.addAttributeValue(late, Data(5'000'000U));
  values.addAttributeValue(why, Data("woken up"));
  for (const Data& value : {Data("bash"), Data(7U)}) {
    pwr::DataElement element(value, nullptr, g_cpu0, 0);
    element.setAttributes(std::make_shared<const pwr::AttributeValueManager>(values));
    trial.deliver(metric, 1, {element, element});
  }
  const std::string head = "running_task,host=lab,package=Package0,thread=CPU0";
  const std::string rest = "pid=12,delay_seconds=0.005 1000000000001";
  const std::string text = head + ",state=bash,state_2=woken\\ up value=1," + rest;
  const std::string number = head + ",state_2=woken\\ up value=7," + rest;
  EXPECT_EQ(trial.finish(), (Lines{text, text, number, number}));
  EXPECT_EQ(
      trial.log().all(),
      "WARNING: Lines: 2 values have the series and the time of another one, of which engines "
      "keep one.\n");
}

TEST(LinesWriter, NoTwoHaveOneName) {
  LinesTrial trial;
  const auto* const c1 = descriptor("c1");
  const auto* const twin = pwr::createEntity({.name = "Package0", .level = "package"});
  for (const char* const name : {"Two Words", "two-words"}) {
    const auto* const metric = pwr::createMetric({.name = name});
    trial.deliver(
        metric, 0,
        {{Data(1), g_c1, g_package, 0}, {Data(2), c1, g_package, 0}, {Data(3), g_c1, twin, 0}});
  }
  EXPECT_EQ(trial.finish(),
            (Lines{"two_words,host=lab,package=Package0 c1=1,c1_2=2 1000000000000",
                   "two_words,host=lab,package=Package0_2 c1=3 1000000000000",
                   "two_words_2,host=lab,package=Package0 c1=1,c1_2=2 1000000000000",
                   "two_words_2,host=lab,package=Package0_2 c1=3 1000000000000"}));
}

/// A metric of what processes used, with two ranks.
class ProcessUse {
 public:
  pwr::DataElement element(const char* name, std::optional<int> pid, double milliseconds,
                           unsigned int rank) const {
    pwr::AttributeValueManager values;
    values.addAttributeValue(process_, Data(name));
    if (pid) values.addAttributeValue(pid_, Data(*pid));
    if (pid) values.addAttributeValue(tid_, Data(*pid));  // its main thread
    pwr::DataElement element(Data(milliseconds), ranks_[rank], nullptr, 100);
    element.setAttributes(std::make_shared<const pwr::AttributeValueManager>(values));
    return element;
  }
  const pwr::MetricDescription* metric() const { return metric_; }

 private:
  static pwr::ExpectedAttributeManager expected(const pwr::Attribute* one,
                                                const pwr::Attribute* other) {
    pwr::ExpectedAttributeManager attributes;
    attributes.addAttribute(one);
    attributes.addAttribute(other);
    return attributes;
  }

  const pwr::Attribute* process_ =
      pwr::Attribute::create("Process", nullptr, pwr::AttributeType::String);
  const pwr::Attribute* pid_ = pwr::Attribute::create("PID", nullptr, pwr::AttributeType::Int);
  const pwr::Attribute* tid_ = pwr::Attribute::create("TID", nullptr, pwr::AttributeType::Int);
  const std::vector<const pwr::DataDescriptor*> ranks_{descriptor("First"), descriptor("Second")};
  const pwr::MetricDescription* metric_ = pwr::createMetric(
      {.name = "Process CPU Time",
       .type = Type::TracedEvent,
       .quantity = pwr::createQuantity({.name = "CPU Time", .units = "ms"}),
       .combinations = {{nullptr, ranks_[0]}, {nullptr, ranks_[1]}},
       .descriptorGroup = std::make_shared<const pwr::Field>(kRankGroup),
       .valueGroup = std::make_shared<const pwr::Field>("CPU Time", expected(process_, pid_))});
};

TEST(LinesWriter, ProcessesBeyondTheLimitAreInOthers) {
  LinesTrial trial({"--series-limit=3"});
  const ProcessUse use;
  trial.deliver(use.metric(), 0,
                {use.element("gcc", 7, 1, 0), use.element("ld", 8, 20, 1),
                 use.element("sh", 9, 5, 1), use.element("others", {}, 0.5, 1)});
  trial.deliver(use.metric(), 100, {use.element("gcc", 7, 80, 0), use.element("sh", 9, 2, 0)});
  const std::string head = "process_cpu_time_seconds,host=lab,";
  EXPECT_EQ(trial.finish(), (Lines{head + "process=ld,pid=8 value=0.02 1000000000000",
                                   head + "process=sh,pid=9 value=0.005 1000000000000",
                                   head + "process=others value=0.0015 1000000000000",
                                   head + "process=sh,pid=9 value=0.002 1000000000100",
                                   head + "process=others value=0.08 1000000000100"}));
  EXPECT_EQ(trial.log().all(),
            "WARNING: The lines have 3 series, as many as --series-limit allows: further processes "
            "and states are in \"others\", all else is left out.\n"
            "WARNING: Lines: 2 values of further processes and states are in \"others\" "
            "(--series-limit).\n");
}

TEST(LinesWriter, EachDayHasRoomForOthers) {
  LinesTrial trial({"--series-limit=2"});
  const ProcessUse use;
  constexpr unsigned long long kDay = 86'400'000'000'000;
  trial.deliver(use.metric(), 0, {use.element("gcc", 7, 1, 0)});
  trial.deliver(use.metric(), 100, {use.element("ld", 8, 1, 0)});
  trial.deliver(use.metric(), kDay, {use.element("ld", 8, 1, 0)});
  trial.deliver(use.metric(), 200, {use.element("as", 9, 1, 0)});
  trial.deliver(use.metric(), kDay + 100, {use.element("as", 9, 1, 0)});
  const Lines lines = trial.finish();
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_NE(lines[1].find(",process=others "), std::string::npos) << lines[1];
  EXPECT_NE(lines[2].find(",process=ld,pid=8 "), std::string::npos) << lines[2];
  EXPECT_NE(lines[3].find(",process=others "), std::string::npos) << "a day that was there already";
  EXPECT_NE(lines[4].find(",process=others "), std::string::npos) << lines[4];
}

TEST(LinesWriter, SeriesBeyondTheLimitAreCounted) {
  LinesTrial trial({"--series-limit=4"});
  const auto* const metric = residencies();
  trial.deliver(metric, 0, {{Data(1'000'000'000U), g_c1, g_cpu0, 0}, {Data(0U), g_c6, g_cpu0, 0}});
  const auto* const states = pwr::createMetric({.name = "Idle", .type = Type::TracedEvent});
  for (unsigned int n = 0; n < 4; ++n) {
    trial.deliver(states, n, {{Data("state " + std::to_string(n)), nullptr, nullptr, 0}});
  }
  trial.deliver(metric, 9, {{Data(0U), g_c1, g_cpu0, 0}, {Data(0U), g_c6, g_cpu1, 0}});
  const std::string head = "cpu_c_state_seconds,host=lab,package=Package0,thread=CPU0 ";
  EXPECT_EQ(trial.finish(), (Lines{head + "c1=1,c6=0 1000000000000",
                                   "idle,host=lab,state=state\\ 0 value=1 1000000000000",
                                   "idle,host=lab,state=others value=1 1000000000001",
                                   "idle,host=lab,state=others value=1 1000000000002",
                                   "idle,host=lab,state=others value=1 1000000000003",
                                   head + "c1=0 1000000000009"}));
  EXPECT_NE(trial.log().all().find("Lines: 3 values of further processes and states are in"),
            std::string::npos);
  EXPECT_NE(trial.log().all().find("Lines: 1 values of further series are left out"),
            std::string::npos);
}

TEST(LinesWriter, LongLinesAreDivided) {
  LinesTrial trial;
  std::vector<pwr::DataElement> elements;
  for (unsigned int n = 0; n < 500; ++n) {
    const auto* const field = descriptor(std::to_string(n) + std::string(180, 'x'));
    elements.emplace_back(Data(n), field, g_cpu0, 0);
  }
  trial.deliver(pwr::createMetric({.name = "Wide"}), 0, elements);
  std::size_t fields = 0;
  for (const std::string& line : trial.finish()) {
    EXPECT_LT(line.size(), 32768U);
    fields += static_cast<std::size_t>(std::ranges::count(line, '=')) - 3;  // host, package, thread
  }
  EXPECT_EQ(fields, elements.size());
}

TEST(LinesWriter, WithoutATimeOfDayThereAreNone) {
  {
    LinesTrial trial;
    trial.system().collectionStartTimeNs = 0;
    EXPECT_EQ(trial.begin(), 1);
    EXPECT_EQ(trial.deliver(residencies(), 0, {{Data(1U), g_c1, g_cpu0, 0}}), 1);
    EXPECT_EQ(trial.close(), 1);
    EXPECT_EQ(trial.log().all(),
              "ERROR: The writer lines needs the time of day, which the recording does not tell: "
              "give its start as --start-time 2026-11-22T19:00:00Z.\n");
    EXPECT_EQ(trial.files(), Lines());
  }
  LinesTrial trial({"--start-time=1500000000"});
  trial.system().collectionStartTimeNs = 0;
  trial.deliver(residencies(), 7, {{Data(0U), g_c1, nullptr, 0}});
  EXPECT_EQ(trial.finish(), (Lines{"cpu_c_state_seconds,host=lab c1=0 1500000007"}));
}

}  // namespace
