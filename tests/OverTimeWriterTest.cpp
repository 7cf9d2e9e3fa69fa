#include "ColumnWriterTestSupport.h"
#include "writers/columns/PhmTextWriter.h"
#include "writers/host/Quantity.h"

namespace {

using namespace column_test;

class OverTimeWriterTest : public ColumnWriterTest<PhmTextWriter> {
 protected:
  /// Runs a Python script on the files; its assertions are the test's.
  void check(const std::string& script) {
    folder_.write("check.py", script);
    EXPECT_EQ(std::system("/usr/bin/python3 check.py"), 0) << readFile("run_phm.csv");
    std::filesystem::remove("check.py");
  }

  /// A stream with every kind of metric, and a series that comes late.
  void writeEverything() {
    const struct {
      const pwr::MetricDescription* metric;
      unsigned long long timestamp;
      std::vector<DataElement> elements;
      int status = 0;
    } samples[] = {
        {sleep_, 1000, {{Data(250U), c1_, cpu_, 1000}, {Data("?"), c6_, cpu_, 1000}}},
        {energy_, 1000, {{Data(3000U), nullptr, nullptr, 200000000}}},
        {forks_, 1100, {{Data(12U), nullptr, nullptr, 100}}},
        {forks_, 1200, {{Data(-2), nullptr, nullptr, 100}}},
        {sleep_, 1200, {{Data(1000U), c1_, cpu_, 1000}}},
        {wakes_, 1250, {{Data("a, \"b\"\nc"), nullptr, cpu_, 0}}},
        {wakes_, 1250, {{Data(), nullptr, nullptr, 0}}},
        {wakes_, 1260, {}},
        {energy_, 999, {{Data(1U), nullptr, nullptr, 1}}, 1},
        {forks_, 999, {{Data(1U), nullptr, nullptr, 1}}, 1},
    };
    for (const auto& [metric, timestamp, elements, status] : samples) {
      EXPECT_EQ(sample(metric, timestamp, elements), status) << metric->name << timestamp;
    }
  }

  const pwr::EntityHandle* cpu_ = entity("CPU0");
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
  const pwr::MetricDescription* wakes_ =
      pwr::createMetric({.name = "Wakes", .type = Type::TracedEvent});
};

TEST_F(OverTimeWriterTest, WholeFile) {
  writeEverything();
  const std::string notUInt =
      "WARNING: Calculation of residency percentages is requested, but the value is not of uint "
      "type.\n";
  const std::string early =
      "WARNING: Timestamp of the sample is less than the global start timestamp.\n";
  EXPECT_EQ(log_.all(), notUInt + early + early);
  EXPECT_EQ(closed("run_phm.csv"),
            "\n"
            "Continuous Time (usec), \"Sleep, deep - CPU0 - C1 (%)\", "
            "\"Sleep, deep - CPU0 - C6 (%)\", Energy (W), Forks, Wakes - CPU0, Wakes\n"
            "                  0.00,                         25.00, "
            "                          n/a,       1.50,   n/a,          n/a,   n/a\n"
            "                  1.00,                           n/a, "
            "                          n/a,        n/a,    12,          n/a,   n/a\n"
            "                  2.00,                        100.00, "
            "                          n/a,        n/a,    -2,          n/a,   n/a\n"
            "                  2.50,                           n/a, "
            "                          n/a,        n/a,   n/a, \"a, \"\"b\"\"\nc\",   n/a\n\n");
}

// The reader is not ours; pandas has its say where it is installed.
TEST_F(OverTimeWriterTest, ReadersOfCsvUnderstandIt) {
  if (kIsWindows) GTEST_SKIP() << "there is no Python";
  writeEverything();
  closed("run_phm.csv");
  check(R"py(
import csv

def rows(name):
    with open(name, newline="") as file:
        return [row for row in csv.reader(file, skipinitialspace=True) if row]

series = ["Sleep, deep - CPU0 - C1 (%)", "Sleep, deep - CPU0 - C6 (%)", "Energy (W)", "Forks",
          "Wakes - CPU0", "Wakes"]
no = "n/a"
assert rows("run_phm.csv") == [
    ["Continuous Time (usec)"] + series,
    ["0.00", "25.00", no, "1.50", no, no, no],
    ["1.00", no, no, no, "12", no, no],
    ["2.00", "100.00", no, no, "-2", no, no],
    ["2.50", no, no, no, no, 'a, "b"\nc', no]], rows("run_phm.csv")

metadata = rows("run_phm_metadata.csv")
assert metadata[0] == ["Columns"] and metadata[8] == ["System"], metadata
assert metadata[1] == ["Column Name", "Metric", "Metric id", "Kind", "Quantity", "Units", "Entity",
                       "Entity level", "Descriptor", "Samples", "Minimum", "Maximum", "Mean"]
columns = [row[:2] + row[3:] for row in metadata[2:8]]
delta, residency, event = "SAMPLED_DELTA", "SAMPLED_RESIDENCY", "TRACED_EVENT"
sleep = ["Sleep, deep", residency, "Time", "%", "CPU0", "Thread"]
nothing = ["0", no, no, no]
assert columns == [
    [series[0]] + sleep + ["C1", "2", "25.00", "100.00", "62.50"],
    [series[1]] + sleep + ["C6"] + nothing,
    [series[2], "Energy", delta, "Power", "W", "", "", "", "1", "1.50", "1.50", "1.50"],
    [series[3], "Forks", delta, "", "", "", "", "", "2", "-2.00", "12.00", "5.00"],
    [series[4], "Wakes", event, "", "", "CPU0", "Thread", "", "1", no, no, no],
    [series[5], "Wakes", event, "", "", "", "", ""] + nothing], columns
assert metadata[9] == ["Name", "Value"] and metadata[10] == ["Host", 'host, "quoted"'], metadata
assert ["Timestamp clock (MHz)", "100"] in metadata

try:
    import pandas
except ImportError:
    raise SystemExit
frame = pandas.read_csv("run_phm.csv", skipinitialspace=True)
assert list(frame.columns) == ["Continuous Time (usec)"] + series, frame.columns
assert list(frame["Continuous Time (usec)"]) == [0.0, 1.0, 2.0, 2.5]
assert frame["Forks"].sum() == 10 and frame["Forks"].isna().sum() == 2
assert frame["Wakes - CPU0"][3] == 'a, "b"\nc'
)py");
}

TEST_F(OverTimeWriterTest, TicksOfTheClock) {
  for (const char* name : {"PW_DO_TIMELINE_TSC", "PW_DO_TIMELINE_RESIDENCY_TICKS"}) {
    setEnvironment(name, "1");
  }
  reopen();
  EXPECT_EQ(sample(sleep_, 18446744073709551615U, {{Data(250U), c1_, cpu_, 1000}}), 0);
  EXPECT_EQ(closed("run_phm.csv"),
            "\n           Timestamp, \"Sleep, deep - CPU0 - C1 (%)\"\n"
            "18446744073709551615,                         25.00\n\n");
}

// Besides the column of the time. The last series that fits is there, and all rows of all that fit.
TEST_F(OverTimeWriterTest, MoreSeriesThanColumns) {
  constexpr unsigned int kMost = 65535;
  const auto* const metric = pwr::createMetric({.name = "M"});
  std::vector<DataElement> elements;
  for (unsigned int n = 0; n < kMost + 2; ++n) {
    elements.emplace_back(Data(n), descriptor(std::to_string(n)), nullptr, 1);
  }
  EXPECT_EQ(sample(metric, 1000, elements) + sample(metric, 2000, elements), 0);
  EXPECT_EQ(sample(forks_, 3000, {{Data(1), nullptr, nullptr, 1}}), 0);
  EXPECT_EQ(log_.general(),
            "WARNING: The table run_phm.csv has 65536 columns and can take no more: M - 65535 is "
            "left out\n");
  std::istringstream lines(closed("run_phm.csv"));
  for (const char* last : {"", ", M - 65534", ",     65534", ",     65534", ",       n/a"}) {
    std::string line;
    std::getline(lines, line);
    EXPECT_TRUE(line.ends_with(last)) << last;
    EXPECT_EQ(std::count(line.begin(), line.end(), ','), line.empty() ? 0 : kMost);
  }
}

TEST_F(OverTimeWriterTest, FailuresAreReported) {
  EXPECT_EQ(writer_->closeOutput(), 0);
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(writer_->openOutput("/nowhere/run", false), 1);
  std::filesystem::remove("run_phm_metadata.csv");
  std::filesystem::create_directory("run_phm_metadata.csv");
  EXPECT_EQ(PhmTextWriter().openOutput("run", false), 1);
  EXPECT_EQ(log_.general(),
            "WARNING: Output file run_phm.csv does not exist\n"
            "WARNING: Could not create /nowhere/run_phm.csv\n"
            "WARNING: Could not create run_phm_metadata.csv\n");
  std::filesystem::remove("run_phm_metadata.csv");

  if (kIsWindows) GTEST_SKIP() << kNoFullDevice;
  for (const char* full : {"run_phm.csv", "run_phm_metadata.csv"}) {
    SCOPED_TRACE(full);
    log_.clear();
    reopenOnFullDisk(full);
    EXPECT_EQ(sample(forks_, 1000, {{Data(1), nullptr, nullptr, 1}}), 0);
    EXPECT_EQ(writer_->closeOutput(), 1);
    EXPECT_NE(log_.general().find("No space left on device"), std::string::npos) << log_.all();
    std::filesystem::remove(full);
  }
}

}  // namespace
