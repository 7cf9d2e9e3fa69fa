#if !defined(_WIN32)
#include <sys/resource.h>
#endif

#include <cstdio>
#include <limits>

#include "ColumnWriterTestSupport.h"
#include "CommaLocale.h"
#include "hostcommon/Platform.h"
#include "writers/columns/IntWriterV2.h"
#include "writers/host/Quantity.h"

namespace {

using namespace column_test;

const std::string kLateSample =
    "WARNING: Timestamp of the sample is less than the global start timestamp.\n";
const std::string kNoRate =
    "WARNING: Rate conversion not specified. Instantaneous rate cannot be calculated.\n";

class TraceWriterTest : public ColumnWriterTest<IntWriterV2> {
 protected:
  const pwr::Attribute* latency_ =
      pwr::Attribute::create("Latency", nullptr, pwr::AttributeType::UInt);
  const pwr::EntityHandle* cpu0_ =
      pwr::createEntity({.name = "CPU0", .attributes = attributes(latency_, Data("fast"))});
  const pwr::EntityHandle* cpu1_ = entity("CPU1", cpu0_);
  const pwr::DataDescriptor* c1_ = descriptor("C1", latency_, Data(2.5));
  const pwr::DataDescriptor* c6_ = descriptor("C6");
  const pwr::Quantity* watts_ = pwr::createQuantity({.units = "W"});
  const pwr::Quantity* joules_ =
      pwr::createQuantity({.units = "mJ", .rate = watts_, .rateFactor = 0.001});

  const pwr::MetricDescription* residency_ =
      pwr::createMetric({.name = "Sleep",
                         .type = Type::SampledResidency,
                         .quantity = pwr::Quantity::time(),
                         .combinations = {{cpu0_, c1_}, {cpu0_, c6_}, {cpu1_, c1_}}});
  const pwr::MetricDescription* counter_ = pwr::createMetric(
      {.name = "Energy", .type = Type::SampledDelta, .quantity = joules_, .combinations = {{}}});
  const pwr::MetricDescription* bare_ =
      pwr::createMetric({.name = "Forks", .type = Type::SampledDelta});
  const pwr::MetricDescription* value_ = pwr::createMetric(
      {.name = "Room", .combinations = {{cpu0_, nullptr}}, .traceSampleEntityAttributes = true});

  static pwr::AttributeValueManager attributes(const pwr::Attribute* attribute, const Data& value) {
    pwr::AttributeValueManager manager;
    manager.addAttributeValue(attribute, value);
    return manager;
  }

  int sampleResidencies() {
    return sample(residency_, 2000,
                  {{Data(500U), c1_, cpu0_, 1000},
                   {Data(250U), c6_, cpu0_, 1000},
                   {Data(1000U), c1_, cpu1_, 1000}}) +
           sample(residency_, 3000, {{Data(10000U), c6_, cpu0_, 80000}});
  }
};

// In the order of keys: metrics as such first, then those of entities; views within each. The last
// duration in a row stands.
TEST_F(TraceWriterTest, SampledTables) {
  EXPECT_EQ(sample(value_, 1000, {{Data("a, \"b\""), nullptr, cpu0_, 0}}), 0);
  EXPECT_EQ(sample(value_, 1001, {{Data(), nullptr, cpu0_, 0}, {Data(-7), c6_, cpu0_, 500000}}), 0);
  EXPECT_EQ(sampleResidencies(), 0);
  EXPECT_EQ(sample(counter_, 1000, {{Data(3000U), nullptr, nullptr, 200000000}}), 0);
  EXPECT_EQ(sample(counter_, 200001000, {{Data(-0.5), nullptr, nullptr, 100000000}}), 0);
  EXPECT_EQ(closed("run_trace.csv"),
            "\nEnergy\n"
            "Sample #, Continuous Time (usec), Duration (ms),  (mJ)\n"
            "       1,                   0.00,       2000.00,  3000\n"
            "       2,             2000000.00,       1000.00, -0.50\n"
            "\nEnergy : Instantaneous rate\n"
            "Sample #, Continuous Time (usec), Duration (ms),   (W)\n"
            "       1,                   0.00,       2000.00,  1.50\n"
            "       2,             2000000.00,       1000.00, -0.00\n"
            "\n\nSleep - CPU0 : Residency Time\n"
            "Sample #, Continuous Time (usec), Duration (ms), C1 (2.50) (usec), C6 (usec)\n"
            "       1,                  10.00,          0.01,             5.00,      2.50\n"
            "       2,                  20.00,          0.80,                0,    100.00\n"
            "\nSleep - CPU0 : Residency Percentage\n"
            "Sample #, Continuous Time (usec), Duration (ms), C1 (2.50) (%), C6 (%)\n"
            "       1,                  10.00,          0.01,         50.00,  25.00\n"
            "       2,                  20.00,          0.80,          0.00,  12.50\n"
            "\n\nSleep - CPU1 : Residency Time\n"
            "Sample #, Continuous Time (usec), Duration (ms), C1 (2.50) (usec), C6 (usec)\n"
            "       1,                  10.00,          0.01,            10.00,         0\n"
            "\nSleep - CPU1 : Residency Percentage\n"
            "Sample #, Continuous Time (usec), Duration (ms), C1 (2.50) (%), C6 (%)\n"
            "       1,                  10.00,          0.01,        100.00,   0.00\n"
            "\n\nRoom - CPU0\n"
            "Sample #, Continuous Time (usec), Duration (ms), Latency,       , C6\n"
            "       1,                   0.00,          0.00,    fast, a, \"b\", n/a\n"
            "       2,                   0.01,          5.00,    fast,    n/a, -7\n\n");
  EXPECT_EQ(log_.all(), "");
}

TEST_F(TraceWriterTest, EnvironmentSwitches) {
  const auto* const event = pwr::createMetric({.name = "Wakes", .type = Type::TracedEvent});
  const std::string ticksOfResidency =
      "\n\nSleep - CPU0\n"
      "Sample #, Continuous Time (usec), Duration (ms), C1 (2.50) (ticks), C6 (ticks)\n"
      "       1,                  20.00,          0.80,                 0,      10000\n";
  const std::string timeOfResidency =
      "\n\nSleep - CPU0 : Residency Time\n"
      "Sample #,            Timestamp, Duration (ms), C1 (2.50) (usec), C6 (usec)\n"
      "       1, 18446744073709551615,          0.80,                0,    100.00\n";
  const struct {
    const char* name;
    unsigned long long timestamp;
    std::string expected;
  } cases[] = {
      {"PW_DO_TIMELINE_RESIDENCY_TICKS", 3000,
       "\nWakes\nSample #, Continuous Time (ms),  , Duration (ms)\n"
       "       1,                 0.02, 1,          0.00\n" +
           ticksOfResidency +
           "\nSleep - CPU0 : Residency Percentage\n"
           "Sample #, Continuous Time (usec), Duration (ms), C1 (2.50) (%), C6 (%)\n"
           "       1,                  20.00,          0.80,          0.00,  12.50\n\n"},
      {"PW_DO_TIMELINE_TSC", std::numeric_limits<unsigned long long>::max(),
       "\nWakes\nSample #,            Timestamp,  , Duration (ms)\n"
       "       1, 18446744073709551615, 1,          0.00\n" +
           timeOfResidency +
           "\nSleep - CPU0 : Residency Percentage\n"
           "Sample #,            Timestamp, Duration (ms), C1 (2.50) (%), C6 (%)\n"
           "       1, 18446744073709551615,          0.80,          0.00,  12.50\n\n"},
  };
  for (const auto& [name, timestamp, expected] : cases) {
    SCOPED_TRACE(name);
    setEnvironment(name, "1");
    reopen();
    setEnvironment(name, nullptr);
    EXPECT_EQ(sample(event, timestamp, {{Data(1), nullptr, nullptr, 0}}), 0);
    EXPECT_EQ(sample(residency_, timestamp, {{Data(10000U), c6_, cpu0_, 80000}}), 0);
    EXPECT_EQ(closed("run_trace.csv"), expected);
  }
}

TEST_F(TraceWriterTest, TracedTables) {
  const auto attribute = [](const char* name, pwr::AttributeType type) {
    return pwr::Attribute::create(name, nullptr, type);
  };
  const pwr::Attribute* const pid = attribute("PID", pwr::AttributeType::Int);
  const pwr::Attribute* const waker = attribute("Waker", pwr::AttributeType::Handle);
  const pwr::Attribute* const late = attribute("Late", pwr::AttributeType::Info);
  pwr::ExpectedAttributeManager declared;
  declared.addAttribute(pid);
  const auto* const metric =
      pwr::createMetric({.name = "Wakes",
                         .type = Type::TracedEvent,
                         .quantity = watts_,
                         .descriptorGroup = std::make_shared<pwr::Field>("Cause"),
                         .valueGroup = std::make_shared<pwr::Field>("Level", declared)});
  const auto event = [&](const pwr::EntityHandle* on,
                         const std::vector<std::pair<std::uint64_t, Data>>& info) {
    DataElement element(Data(7.125), c1_, on, 50000);
    element.setAttributes(
        std::make_shared<pwr::AttributeValueManager>(attributes(pid, Data(4711))));
    const auto manager = std::make_shared<pwr::DynamicAttributeValueManager>();
    for (const auto& [id, value] : info) manager->addAttributeValue(id, value);
    element.setAdditionalInfo(manager);
    return element;
  };
  const pwr::DataHandle* const timer = pwr::createHandle({.name = "timer"});
  EXPECT_EQ(sample(metric, 101000,
                   {event(cpu1_, {}), event(cpu0_, {{waker->getId(), Data(timer)}}),
                    event(cpu0_, {{late->getId(), Data("x")}, {latency_->getId(), Data(9)}}),
                    DataElement(Data(), nullptr, nullptr, 0)}),
            0);
  EXPECT_EQ(log_.all(), "");
  constexpr auto kUnknown = std::numeric_limits<std::uint64_t>::max() - 5;
  const pwr::DataHandle* const none = nullptr;
  EXPECT_EQ(sample(metric, 201000,
                   {event(cpu0_, {{kUnknown, Data(1)}, {waker->getId(), Data(none)}}),
                    event(cpu0_, {{pid->getId(), Data()}, {late->getId(), Data()}})}),
            0);
  EXPECT_EQ(log_.general(),
            "WARNING: Failed to get handle for dynamic attribute\n"
            "WARNING: Failed to retrieve name for dynamic attribute"
            "WARNING: Failed to process dynamic attribute\n"
            "WARNING: Failed to process info attribute\n");
  EXPECT_EQ(
      closed("run_trace.csv"),
      "\nWakes\n"
      "Sample #, Continuous Time (ms), Level (W), PID, Duration (ms)\n"
      "       1,                 1.00,       n/a, n/a,          0.00\n"
      "\nWakes - CPU0\n"
      "Sample #, Continuous Time (ms), Cause, Level (W),  PID, Latency, Waker, Duration (ms), "
      "Late\n"
      "       1,                 1.00,    C1,      7.12, 4711,    fast, timer,          0.50, "
      " n/a\n"
      "       2,                 1.00,    C1,      7.12, 4711,       9,   n/a,          0.50, "
      "   x\n"
      "       3,                 2.00,    C1,      7.12, 4711,    fast,   n/a,          0.50, "
      " n/a\n"
      "       4,                 2.00,    C1,      7.12, 4711,    fast,   n/a,          0.50, "
      " n/a\n"
      "\nWakes - CPU1\n"
      "Sample #, Continuous Time (ms), Cause, Level (W),  PID, Duration (ms)\n"
      "       1,                 1.00,    C1,      7.12, 4711,          0.50\n\n");
}

// What cannot be computed leaves its cell to the placeholder, and what is too early leaves no
// trace.
TEST_F(TraceWriterTest, WarningsAndTheirCells) {
  const struct {
    const pwr::MetricDescription* metric;
    unsigned long long timestamp;
    Data value;
    int status;
    std::string cells;
    std::string logged;
  } cases[] = {
      {value_, 999, Data(1), 1, "", kLateSample},
      {bare_, 1000, Data(12), 0, "12", kNoRate},
      {counter_, 1000, Data("many"), 0, "many n/a",
       "WARNING: Calculation of instantaneous rate is requested, but the value is not numeric.\n"},
      {residency_, 1000, Data(5), 0, "0 0 0.00 0.00",
       "WARNING: Calculation of time in micro-seconds is requested, but the value is not of uint "
       "type.\n"
       "WARNING: Calculation of residency percentages is requested, but the value is not of uint "
       "type.\n"},
      {residency_, 1000, Data(5U), 0, "0.05 0 inf 0.00", ""},
  };
  for (const auto& test : cases) {
    for (const PWLogLevel verbosity : {PW_LOG_ERROR, PW_LOG_WARNING}) {
      SCOPED_TRACE(test.metric->name + test.logged);
      g_pluginEnvironment->setVerbosity(verbosity);
      log_.clear();
      reopen();
      const bool isResidency = test.metric == residency_;
      EXPECT_EQ(sample(test.metric, test.timestamp,
                       {{test.value, isResidency ? c1_ : nullptr, nullptr, isResidency ? 0U : 9U}}),
                test.status);
      EXPECT_EQ(log_.all(), verbosity == PW_LOG_ERROR ? "" : test.logged);
      // The cells behind the fixed columns of every row.
      std::string cells;
      std::istringstream lines(closed("run_trace.csv"));
      for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("       1,")) continue;
        std::istringstream words(line.substr(line.find(", ", 34) + 1));
        for (std::string word; words >> word;) {
          cells += (cells.empty() ? "" : " ") + word.substr(0, word.find(','));
        }
      }
      EXPECT_EQ(cells, test.cells);
    }
  }
  reopen();
  log_.clear();
  EXPECT_EQ(system(0), 1);
  EXPECT_EQ(writer_->closeOutput(), 0);
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(writer_->openOutput("/nowhere/run", false), 1);
  EXPECT_EQ(log_.general(),
            "WARNING: Frequency of timestamps is zero. Please check the clock frequency in the "
            "system metadata.\n"
            "WARNING: Output file run_trace.csv does not exist\n"
            "WARNING: Could not create /nowhere/run_trace.csv\n");
}

#if !defined(_WIN32)
TEST_F(TraceWriterTest, FullDiskIsReported) {
  // A table that fits into memory, which the file has no room for.
  EXPECT_EQ(sample(value_, 1000, {{Data(1), nullptr, cpu0_, 0}}), 0);
  EXPECT_EQ(writer_->closeOutput(), 0);
  reopen();
  EXPECT_EQ(sample(value_, 1000, {{Data(2), nullptr, cpu0_, 0}}), 0);
  const std::string last = readFile("run_trace.csv");
  const FullDisk full(50);
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_NE(log_.general().find("WARNING: Could not write the table Room - CPU0: File too large"),
            std::string::npos)
      << log_.general();
  EXPECT_EQ(readFile("run_trace.csv"), last);
}
#endif

// The same problem with the same series is a warning once, then a debug line.
TEST_F(TraceWriterTest, RepeatedProblems) {
  for (const PWLogLevel verbosity : {PW_LOG_WARNING, PW_LOG_DEBUG}) {
    g_pluginEnvironment->setVerbosity(verbosity);
    log_.clear();
    reopen();
    for (unsigned int n = 0; n < 100; ++n) {
      sample(bare_, 1000 + n, {{Data(12), nullptr, nullptr, 9}});
      sample(value_, 999, {{Data(1), nullptr, nullptr, 9}});
      sample(counter_, 1000 + n, {{Data("a"), nullptr, cpu0_, 9}, {Data("b"), nullptr, cpu1_, 9}});
    }
    closed("run_trace.csv");
    const auto count = [&](const std::string& line) {
      std::size_t found = 0;
      for (std::size_t at = 0; (at = log_.general().find(line, at)) != std::string::npos; ++at) {
        ++found;
      }
      return found;
    };
    const std::string notNumeric =
        "Calculation of instantaneous rate is requested, but the value is not numeric.\n";
    EXPECT_EQ(count(kNoRate), 1U);
    EXPECT_EQ(count(kLateSample), 1U);
    EXPECT_EQ(count("WARNING: " + notNumeric), 2U);
    EXPECT_EQ(count("DEBUG: " + notNumeric), verbosity == PW_LOG_DEBUG ? 198U : 0U);
  }
}

/// How many files this process may have open.
unsigned int openFileLimit() {
#if defined(_WIN32)
  return static_cast<unsigned int>(_getmaxstdio());
#else
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  return static_cast<unsigned int>(std::min<rlim_t>(limit.rlim_cur, 1U << 20U));
#endif
}

class ManyTracesTest : public TraceWriterTest {
 protected:
  static constexpr unsigned int kTables = 2000;

  /// A sample with a value for each of the first entities, which are always the same.
  int sampleThem(unsigned long long time, unsigned int count) {
    while (entities_.size() < count) {
      entities_.push_back(entity("E" + std::to_string(entities_.size())));
    }
    std::vector<DataElement> elements;
    for (unsigned int n = 0; n < count; ++n) {
      elements.emplace_back(Data(n), nullptr, entities_[n], 1);
    }
    return sample(metric_, time, elements);
  }
  static void expectTables(const std::string& text, unsigned int count) {
    std::istringstream lines(text);
    std::string line;
    unsigned int tables = 0;
    while (std::getline(lines, line)) {
      if (!line.starts_with("M - ")) continue;
      EXPECT_EQ(line, "M - E" + std::to_string(tables));
      std::getline(lines, line);
      for (const char* row : {"1", "2"}) {
        std::getline(lines, line);
        EXPECT_EQ(line.substr(7, 1), row);
        EXPECT_EQ(std::stoul(line.substr(line.rfind(',') + 1)), tables);
      }
      ++tables;
    }
    EXPECT_EQ(tables, count);
  }

  const pwr::MetricDescription* metric_ = pwr::createMetric({.name = "M"});
  std::vector<const pwr::EntityHandle*> entities_;
};

TEST_F(ManyTracesTest, AreAllWritten) {
  pwr::platform::raiseOpenFileLimit();
  const unsigned int limit = openFileLimit();
  if (limit < kTables + 40) GTEST_SKIP() << "only " << limit << " open files";
  EXPECT_EQ(sampleThem(1000, kTables) + sampleThem(2000, kTables), 0);
  expectTables(closed("run_trace.csv"), kTables);
  EXPECT_EQ(log_.all(), "");
}

// The first tables are whole, and it is told that others are missing.
TEST_F(ManyTracesTest, NoTemporaryFiles) {
  if (kIsWindows) GTEST_SKIP() << "the current folder cannot be removed";
  constexpr unsigned int kFew = 20;
  EXPECT_EQ(sampleThem(1000, kFew), 0);
  std::filesystem::create_directory("gone");
  std::filesystem::current_path("gone");
  std::filesystem::remove(folder_.path("gone"));
  EXPECT_EQ(sampleThem(2000, kTables), 0);
  std::filesystem::current_path(folder_.path());
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_NE(log_.general().find("WARNING: Failed to initialize buffer.\n"), std::string::npos);
  EXPECT_NE(log_.general().find("WARNING: run_trace.csv lacks " + std::to_string(kTables - kFew) +
                                " tables"),
            std::string::npos);
  expectTables(readFile("run_trace.csv.incomplete"), kFew);
}

TEST_F(TraceWriterTest, NumbersIgnoreTheLocale) {
  const CommaLocale locale;
  ASSERT_TRUE(locale.inForce());
  EXPECT_EQ(sample(pwr::createMetric({.name = "M"}), 123457000,
                   {{Data(1234567.891), nullptr, nullptr, 123456789}}),
            0);
  EXPECT_EQ(closed("run_trace.csv"),
            "\nM\nSample #, Continuous Time (usec), Duration (ms),           \n"
            "       1,             1234560.00,       1234.57, 1234567.89\n\n");
}

}  // namespace
