#include <limits>

#include "ColumnWriterTestSupport.h"
#include "writers/columns/PhmTextWriter.h"
#include "writers/host/Quantity.h"

namespace {

using namespace column_test;

const std::string kTime = "Continuous Time (usec)";
const std::string kEventHeadings =
    kTime + ",Metric,Entity,Descriptor,Value,Duration (usec),Attributes\n";

class OverTimeWriterTest : public ColumnWriterTest<PhmTextWriter> {
 protected:
  /// One line of the metadata, from the first cell on that begins it.
  static std::string metadataLine(const std::string& start) {
    const std::string text = readFile("run_phm_metadata.csv");
    const std::size_t begin = text.find("\n" + start) + 1;
    return begin == 0 ? "" : text.substr(begin, text.find('\n', begin) - begin);
  }

  const pwr::EntityHandle* cpu_ = entity("CPU0", entity("Package0"));
  const pwr::DataDescriptor* c1_ = descriptor("C1");
  const pwr::DataDescriptor* c6_ = descriptor("C6");
  const pwr::Quantity* watts_ = pwr::createQuantity({.name = "Power", .units = "W"});
  const pwr::MetricDescription* sleep_ =
      pwr::createMetric({.name = "Sleep, deep",
                         .type = Type::SampledResidency,
                         .quantity = pwr::Quantity::time(),
                         .combinations = {{cpu_, c1_}, {cpu_, c6_}}});
  const pwr::MetricDescription* energy_ = pwr::createMetric(
      {.name = "Energy",
       .type = Type::SampledDelta,
       .quantity = pwr::createQuantity({.units = "mJ", .rate = watts_, .rateFactor = 0.001})});
  const pwr::MetricDescription* forks_ =
      pwr::createMetric({.name = "Forks", .type = Type::SampledDelta});
  const pwr::MetricDescription* note_ = pwr::createMetric({.name = "Note"});
  const pwr::MetricDescription* wakes_ =
      pwr::createMetric({.name = "Wakes", .type = Type::TracedEvent});
};

// Every kind of metric that is sampled; series that come late or never have a value.
TEST_F(OverTimeWriterTest, Samples) {
  const struct {
    const pwr::MetricDescription* metric;
    unsigned long long timestamp;
    std::vector<DataElement> elements;
    int status = 0;
  } samples[] = {
      {sleep_, 1000, {{Data(250U), c1_, cpu_, 1000}, {Data("?"), c6_, cpu_, 1000}}},
      {energy_, 1000, {{Data(3000U), nullptr, nullptr, 200000007}}},
      {forks_, 1100, {{Data(12U), nullptr, nullptr, 100}}},
      {forks_, 1233, {{Data(-2), nullptr, nullptr, 100}}},
      {sleep_, 1233, {{Data(1000U), c1_, cpu_, 3000}, {Data("?"), c6_, cpu_, 1000}}},
      {note_, 1250, {{Data("a, \"b\"\nc"), nullptr, cpu_, 0}, {Data(1e300), nullptr, nullptr, 0}}},
      {note_, 1250, {{Data("later"), nullptr, cpu_, 0}, {Data(), nullptr, nullptr, 0}}},
      {note_, 1260, {}},
      {sleep_, 1300, {{Data(5U), c1_, cpu_, 0}}},
      {energy_, 999, {{Data(1U), nullptr, nullptr, 1}}, 1},
      {energy_, 998, {{Data(1U), nullptr, nullptr, 1}}, 1},
  };
  for (const auto& [metric, timestamp, elements, status] : samples) {
    EXPECT_EQ(sample(metric, timestamp, elements), status) << metric->name << timestamp;
  }
  EXPECT_EQ(log_.all(),
            "WARNING: Calculation of residency percentages is requested, but the value is not of "
            "uint type.\n"
            "WARNING: Timestamp of the sample is less than the global start timestamp.\n");
  EXPECT_EQ(closed("run_phm.csv"),
            kTime +
                ",\"Sleep, deep - CPU0 - C1 (%)\",\"Sleep, deep - CPU0 - C6 (%)\",Energy (W),"
                "Forks,Note - CPU0,Note\n"
                "0,25,,1.4999999475000019,,,\n"
                "1,,,,12,,\n"
                "2.33,33.33333333333333,,,-2,,\n"
                "2.5,,,,,later,1e+300\n"
                "3,inf,,,,,\n");
  EXPECT_EQ(readFile("run_phm_events.csv"), kEventHeadings);
}

// Rows are in order of arrival, and only what comes in a row shares one.
TEST_F(OverTimeWriterTest, Rows) {
  const auto* const other = pwr::createMetric({.name = "O"});
  for (const auto& [metric, timestamp] :
       {std::pair{note_, 1100U}, {other, 1100U}, {note_, 1200U}, {other, 1100U}, {note_, 1200U}}) {
    EXPECT_EQ(sample(metric, timestamp, {{Data(timestamp), nullptr, nullptr, 0}}), 0);
  }
  // The last value of a series stands, wherever it comes.
  EXPECT_EQ(sample(other, 1300, {{Data(1), c1_, nullptr, 0}, {Data(2), nullptr, nullptr, 0}}), 0);
  EXPECT_EQ(sample(note_, 1300, {{Data(3), nullptr, nullptr, 0}}), 0);
  EXPECT_EQ(sample(other, 1300, {{Data(4), nullptr, nullptr, 0}, {Data(5), c1_, nullptr, 0}}), 0);
  EXPECT_EQ(closed("run_phm.csv"), kTime +
                                       ",Note,O,O - C1\n1,1100,1100,\n2,1200,,\n1,,1100,\n"
                                       "2,1200,,\n3,3,4,5\n");
}

// A row that gets too long goes on in another one of the same time.
TEST_F(OverTimeWriterTest, LongRows) {
  constexpr std::size_t kMiB = 0x100000;
  constexpr std::size_t kCells = 20;
  std::vector<DataElement> elements;
  std::string headings = kTime;
  for (std::size_t n = 0; n < kCells; ++n) {
    elements.emplace_back(Data(std::string(kMiB, 'x')), descriptor(std::to_string(n)), nullptr, 0);
    headings += ",Note - " + std::to_string(n);
  }
  EXPECT_EQ(sample(note_, 1000, elements), 0);
  const std::string text = closed("run_phm.csv");
  const std::size_t second = text.find("\n0,,,", headings.size()) + 1;
  ASSERT_NE(second, 0U);
  EXPECT_LE(second - headings.size(), 16 * kMiB);
  EXPECT_EQ(text.size(), headings.size() + kCells * kMiB + 2 * kCells + sizeof "\n0\n0\n" - 1);
}

TEST_F(OverTimeWriterTest, TicksOfTheClock) {
  for (const char* name : {"PW_DO_TIMELINE_TSC", "PW_DO_TIMELINE_RESIDENCY_TICKS"}) {
    setEnvironment(name, "1");
  }
  reopen();
  EXPECT_EQ(sample(sleep_, 18446744073709551615U, {{Data(250U), c1_, cpu_, 1000}}), 0);
  EXPECT_EQ(sample(wakes_, 18446744073709551615U, {{Data(1), nullptr, nullptr, 7}}), 0);
  EXPECT_EQ(closed("run_phm.csv"),
            "Timestamp,\"Sleep, deep - CPU0 - C1 (%)\"\n18446744073709551615,25\n");
  EXPECT_EQ(readFile("run_phm_events.csv"),
            "Timestamp,Metric,Entity,Descriptor,Value,Duration (ticks),Attributes\n"
            "18446744073709551615,Wakes,,,1,7,\n");
}

TEST_F(OverTimeWriterTest, ColumnsOfOneNameAreToldApart) {
  const auto* const upper = entity("Core0", entity("Package0"));
  const auto* const lower = entity("Core0", entity("Package1"));
  const auto* const twin = entity("Core0", entity("Package1"));
  const auto* const load = pwr::createMetric({.name = "Load"});
  const auto* const same = pwr::createMetric({.name = "Load"});
  const auto* const time = pwr::createMetric({.name = kTime});
  const auto* const taken = pwr::createMetric({.name = "Load #2"});
  for (const auto* metric : {time, load, same, taken}) {
    EXPECT_EQ(sample(metric, 1000, {{Data(1), nullptr, nullptr, 1}}), 0);
  }
  EXPECT_EQ(sample(load, 1000,
                   {{Data(2), nullptr, upper, 1},
                    {Data(3), nullptr, lower, 1},
                    {Data(4), nullptr, twin, 1},
                    {Data(5), nullptr, cpu_, 1},
                    {Data(6), c1_, cpu_, 1},
                    {Data(7), descriptor("C1"), cpu_, 1}}),
            0);
  const std::string text = closed("run_phm.csv");
  EXPECT_EQ(text.substr(0, text.find('\n')),
            kTime + "," + kTime +
                " #2,Load,Load #2,Load #2 #2,Load - Package0/Core0,Load - Package1/Core0,"
                "Load - Package1/Core0 #2,Load - CPU0,Load - Package0/CPU0 - C1,"
                "Load - Package0/CPU0 - C1 #2");
}

// Besides the column of the time. The last series that fits is there, and all rows of all that fit.
TEST_F(OverTimeWriterTest, MoreSeriesThanColumns) {
  constexpr unsigned int kMost = 65535;
  std::vector<DataElement> elements;
  for (unsigned int n = 0; n < kMost + 2; ++n) {
    elements.emplace_back(Data(n), descriptor(std::to_string(n)), nullptr, 1);
  }
  EXPECT_EQ(sample(note_, 1000, elements) + sample(note_, 2000, elements), 0);
  EXPECT_EQ(sample(forks_, 3000, {{Data(1), nullptr, nullptr, 1}}), 0);
  EXPECT_EQ(log_.general(),
            "WARNING: The table run_phm.csv has 65536 columns and can take no more: further series "
            "are left out, the first of them of Note\n");
  std::istringstream lines(closed("run_phm.csv"));
  for (const char* last : {",Note - 65534", ",65534", ",65534", "20,,"}) {
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(std::count(line.begin(), line.end(), ','), kMost);
    EXPECT_NE(line.find(last), std::string::npos) << last;
  }
}

// Each has its line, also those of one time; with the attributes of its entity, unless it has its
// own value.
TEST_F(OverTimeWriterTest, Events) {
  const pwr::Attribute* const pid = pwr::Attribute::create("PID", nullptr, pwr::AttributeType::Int);
  const pwr::Attribute* const text =
      pwr::Attribute::create("a;b=c", nullptr, pwr::AttributeType::Info);
  pwr::AttributeValueManager ofEntity;
  ofEntity.addAttributeValue(pid, Data(1));
  ofEntity.addAttributeValue(text, Data("x, \\ y"));
  const auto* const task = pwr::createEntity({.name = "task", .attributes = ofEntity});
  DataElement event(Data("run"), c1_, task, 50);
  auto own = std::make_shared<pwr::AttributeValueManager>();
  own->addAttributeValue(pid, Data(4711));
  event.setAttributes(own);
  auto dynamic = std::make_shared<pwr::DynamicAttributeValueManager>();
  dynamic->addAttributeValue(pwr::createHandle({.fieldName = "Waker"})->getId(),
                             Data(pwr::createHandle({.name = "timer"})));
  dynamic->addAttributeValue(~0ULL, Data(1));
  event.setAdditionalInfo(dynamic);
  for (int twice = 0; twice < 2; ++twice) EXPECT_EQ(sample(wakes_, 1250, {event, event}), 0);
  EXPECT_EQ(log_.all(), "WARNING: Failed to get handle for dynamic attribute\n");
  const auto* const perSecond = pwr::createMetric(
      {.name = "Wakes",
       .type = Type::TracedValueTransition,
       .quantity = pwr::createQuantity({.type = pwr::QuantityType::Rate, .units = "/s"})});
  EXPECT_EQ(sample(perSecond, 1000, {{Data(0.1), nullptr, nullptr, 9}, {Data(), c6_, cpu_, 9}}), 0);
  const std::string line =
      "2.5,Wakes,task,C1,run,0.5,\"PID=4711;Waker=timer;a\\;b\\=c=x, \\\\ y\"\n";
  EXPECT_EQ(closed("run_phm_events.csv"), kEventHeadings + line + line + line + line +
                                              "0,Wakes #2,,,0.1,,\n"
                                              "0,Wakes #2,Package0/CPU0,C6,,,\n");
  EXPECT_EQ(readFile("run_phm.csv"), kTime + "\n");
}

// A value that is not a number counts as a value, and spoils none of the others.
TEST_F(OverTimeWriterTest, Metadata) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  for (const Data& value : {Data(1.5), Data(kNan), Data("text"), Data(-2), Data()}) {
    EXPECT_EQ(sample(note_, 1000, {{value, c1_, cpu_, 1}, {Data(kNan), c6_, cpu_, 1}}), 0);
  }
  EXPECT_EQ(sample(energy_, 1000, {{Data(3000U), nullptr, nullptr, 200000000}}), 0);
  EXPECT_EQ(sample(wakes_, 1000, {{Data(3), nullptr, cpu_, 0}, {Data("x"), nullptr, cpu_, 0}}), 0);
  metadata_->edit().lostEvents = {{"buffer, CPU1", 12}};
  const std::string text = closed("run_phm_metadata.csv");
  const std::string headings =
      "Metric,Metric id,Kind,Quantity,Units,Entity,Entity level,Descriptor,Samples,Minimum,"
      "Maximum,Mean\n";
  const auto id = [](const pwr::MetricDescription* metric) { return std::to_string(metric->id); };
  EXPECT_TRUE(text.starts_with(
      "Columns\nColumn Name," + headings +  //
      "Note - CPU0 - C1,Note," + id(note_) +
      ",SAMPLED_VALUE,,,Package0/CPU0,Thread,C1,4,-2,1.5,-0.25\n"
      "Note - CPU0 - C6,Note," +
      id(note_) + ",SAMPLED_VALUE,,,Package0/CPU0,Thread,C6,5,,,\n" + "Energy (W),Energy," +
      id(energy_) + ",SAMPLED_DELTA,Power,W,,,,1,1.5,1.5,1.5\n" + "\nEvents\n" + headings +
      "Wakes," + id(wakes_) +
      ",TRACED_EVENT,,,Package0/CPU0,Thread,,2,3,3,3\n\nSystem\nName,Value\n"))
      << text;
  EXPECT_EQ(metadataLine("Host,"), "Host,\"host, \"\"quoted\"\"\"");
  EXPECT_EQ(metadataLine("Timestamp clock"), "Timestamp clock (MHz),100");
  EXPECT_EQ(metadataLine("\"Lost events"), "\"Lost events (buffer, CPU1)\",12");
}

// What the last run left stays as it is until all files of this one can be written.
TEST_F(OverTimeWriterTest, FailedOpenLeavesTheLastRun) {
  EXPECT_EQ(sample(forks_, 1000, {{Data(1), nullptr, nullptr, 1}}), 0);
  const std::string last = closed("run_phm.csv");
  std::filesystem::remove("run_phm_metadata.csv");
  obstruct("run_phm_metadata.csv");
  EXPECT_EQ(writer_->openOutput("run", false), 1);
  EXPECT_EQ(sample(forks_, 1000, {{Data(2), nullptr, nullptr, 1}}), 1);
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(writer_->openOutput("/nowhere/run", false), 1);
  EXPECT_EQ(log_.general(),
            "WARNING: Could not create run_phm_metadata.csv\n"
            "WARNING: Writer phm-csv has no open output: a metric is refused.\n"
            "WARNING: Output file run_phm.csv does not exist\n"
            "WARNING: Could not create /nowhere/run_phm.csv\n");
  EXPECT_EQ(readFile("run_phm.csv"), last);
  EXPECT_EQ(readFile("run_phm_events.csv"), kEventHeadings);
  std::filesystem::remove("run_phm_metadata.csv");
  // Opened again, it begins anew.
  ASSERT_EQ(writer_->openOutput("run", false), 0);
  EXPECT_EQ(closed("run_phm.csv"), kTime + "\n");
  EXPECT_EQ(metadataLine("Host,"), "");
}

}  // namespace
