// The binary writer: the bytes of every record, what a second file carries, what is kept when a
// file cannot be written.

#include <gtest/gtest.h>

#include <bit>
#include <filesystem>

#include "TestSupport.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"
#include "writers/continuous/BinaryWriter.h"
#include "writers/host/Quantity.h"

namespace {

using pwr::Data;

// The format once more, written down independently of the writer.
template <typename T>
std::string le(T value) {
  std::string bytes;
  for (std::size_t i = 0; i < sizeof(T); ++i, value = static_cast<T>(value >> 4 >> 4))
    bytes += static_cast<char>(value & 0xFF);
  return bytes;
}
std::string u16(unsigned value) {
  return le(static_cast<std::uint16_t>(value));
}
std::string u32(unsigned value) {
  return le(value);
}
std::string u64(unsigned long long value) {
  return le(value);
}
std::string f32(float value) {
  return le(std::bit_cast<std::uint32_t>(value));
}
std::string record(char type, const std::string& body) {
  return u16(static_cast<unsigned>(body.size())) + type + body;
}
std::string stringRecord(unsigned index, const std::string& text) {
  const auto size = static_cast<unsigned>(text.size());
  return u16(4 + size) + '\0' + u16(index) + static_cast<char>(size & 0xFF) + '\0' + text;
}
std::string pointRecord(unsigned long long time, float duration, unsigned metric, unsigned key,
                        unsigned descriptor, float value) {
  return record(4,
                u64(time) + f32(duration) + u32(metric) + u16(key) + u16(descriptor) + f32(value));
}

const pwr::DataDescriptor* describe(const std::string& name, const Data* attribute = nullptr) {
  pwr::DataDescriptorBuilder builder(name, "");
  static const auto* const latency =
      pwr::Attribute::create("Latency", nullptr, pwr::AttributeType::UInt);
  if (attribute != nullptr) builder.addAttributeValue(latency, *attribute);
  return pwr::DataDescriptor::create(builder);
}

class BinaryWriterTest : public testing::Test {
 protected:
  BinaryWriterTest() : system_(describeSystem()) { reopen("run", false); }

  static pwr::SystemDescription describeSystem() {
    pwr::SystemDescription system{.platformId = 0x01020304,
                                  .platformName = "Board",
                                  .hostName = "lab",
                                  .osName = "OS",
                                  .osType = "x86_64",
                                  .osVersion = "not recorded",
                                  .cpuCodeName = "Lake",
                                  .cpuNativeModelName = "Lake",
                                  .pchDeviceNames = {"A", "B"},
                                  .tscFrequencyMHz = 2.0F,
                                  .cpuFrequencyMHz = 3.0F,
                                  .hfmFrequencyMHz = 1.0F,
                                  .lfmFrequencyMHz = 2.0F,
                                  .busFrequencyMHz = 4.0F,
                                  .collectionDurationSec = 0.1,
                                  .collectionStartTimestamp = 5,
                                  .collectionStopTimestamp = 1ULL << 40};
    system.topology.addThread(0, -1, 0, 0);
    system.topology.addThread(0, -1, 0, 1);
    return system;
  }

  void reopen(const std::string& name, bool continuous) {
    writer_ = std::make_unique<BinaryWriter>();
    ASSERT_EQ(writer_->openOutput(folder_.path(name), continuous), 0);
    ASSERT_EQ(WriterDispatch::write(*writer_, pwr::SystemMessage(&system_)), 0);
  }
  /// Opens a continuous output and sends it one point.
  void beginContinuous(const std::string& name, const pwr::MetricDescription* metric) {
    reopen(name, true);
    send(metric, 1, {{Data(1), c6_, nullptr, 0}});
  }
  void send(const pwr::MetricDescription* description, unsigned long long time,
            std::vector<pwr::DataElement> elements) {
    pwr::Metric metric(description);
    metric.editData() = {time, std::move(elements)};
    EXPECT_EQ(WriterDispatch::write(*writer_, metric), 0);
  }
  bool flush() { return writer_->flushContinuousResults(system_); }
  std::string read(const std::string& name) const { return readFile(folder_.path(name)); }
  /// The system record, whose strings have these indices.
  static std::string systemRecord(const std::vector<unsigned>& strings) {
    std::string body =
        u64(5) + u64(1ULL << 40) + f32(0.1F) + f32(1) + f32(2) + f32(3) + f32(4) + u32(0x01020304);
    for (const std::size_t i : {0U, 1U, 1U, 2U, 3U}) body += u16(strings[i]);
    body += u16(1) + u16(0) + u16(1) + u16(2);
    for (const std::size_t i : {4U, 5U, 5U}) body += u16(strings[i]);
    return record(1, body);
  }

  const Data latency_{133U};
  const pwr::Quantity* const watts_ = pwr::createQuantity({.name = "Power", .units = "W"});
  const pwr::EntityHandle* const package_ = pwr::createEntity({.name = "P0"});
  const pwr::EntityHandle* const cpu_ = pwr::createEntity({.name = "CPU0", .parent = package_});
  const pwr::DataDescriptor* const c6_ = describe("C6", &latency_);
  const std::string long_ = std::string(300, 'x');

  TempFolder folder_;
  LogCapture log_;
  pwr::SystemMetadata system_;
  std::unique_ptr<BinaryWriter> writer_;
};

TEST_F(BinaryWriterTest, EveryRecordByteByByte) {
  const auto* const metric = pwr::createMetric({.name = "Draw",
                                                .featureTag = "",
                                                .type = pwr::Metric::MetricType::SampledDelta,
                                                .quantity = watts_,
                                                .combinations = {{cpu_, c6_}, {nullptr, nullptr}},
                                                .finiteSet = {Data(1.5), Data(long_)}});
  send(metric, 7, {{Data(2), c6_, cpu_, 9}, {Data(3), c6_, cpu_, 9}, {Data(4), nullptr, cpu_, 9}});
  EXPECT_NE(log_.general().find("WARNING: Binary writer plugin failed to retrieve descriptor\n"),
            std::string::npos);
  send(metric, 1ULL << 40, {{Data(0.1), c6_, nullptr, 2}});
  EXPECT_EQ(writer_->closeOutput(), 0);

  const char* const texts[] = {"133",          "C6",    "",        "Draw", "SAMPLED_DELTA",
                               "Power",        "W",     "P0/CPU0", "1.50", long_.c_str(),
                               "Draw/P0/CPU0", "Board", "Lake",    "A, B", "lab",
                               "x86_64",       "OS"};
  std::string expected;
  unsigned index = 0;
  for (const char* text : texts) expected += stringRecord(++index, text);
  EXPECT_EQ(stringRecord(3, ""), std::string("\4\0\0\3\0\0\0", 7));
  EXPECT_EQ(stringRecord(10, long_).substr(0, 8), std::string("\x30\1\0\x0A\0\x2C\0x", 8));
  expected += systemRecord({12, 13, 14, 15, 16, 17});
  expected += record(2, u16(1) + u16(1) + u16(2));
  expected += record(3, u32(metric->id) + u16(3) + u16(4) + u16(5) + u16(6) + u16(7) + u16(1) +
                            u16(2) + u16(2) + u16(8) + u16(1) + u32(0) + u16(9) + u16(10));
  expected += pointRecord(7, 4, metric->id, 11, 1, 2) + pointRecord(7, 4, metric->id, 11, 1, 3) +
              pointRecord(1ULL << 40, 1, metric->id, 4, 1, 0.1F);
  EXPECT_EQ(read("run.ztbin"), expected);
}

TEST_F(BinaryWriterTest, LaterFilesBuildOnEarlierOnes) {
  const auto* const metric = pwr::createMetric({.name = "M"});
  reopen("a", true);
  for (const unsigned time : {1U, 2U}) {
    send(metric, time, {{Data(time), c6_, nullptr, 0}});
    EXPECT_TRUE(flush());
  }
  EXPECT_EQ(writer_->closeOutput(), 0);
  const std::string system = systemRecord({6, 7, 8, 9, 10, 11});
  EXPECT_NE(read("a_0.ztbin").find(system), std::string::npos);
  EXPECT_EQ(read("a_1.ztbin"), system + pointRecord(2, 0, metric->id, 4, 1, 2));

  reopen("b", true);  // the numbers belong to the process, the indices to the run
  EXPECT_TRUE(flush());
  EXPECT_EQ(read("b_2.ztbin").substr(0, 12), stringRecord(1, "Board"));
  EXPECT_FALSE(std::filesystem::exists(folder_.path("a.ztbin")));
}

TEST_F(BinaryWriterTest, LongStringsAreCutWithOneWarning) {
  const std::string longest(65531, 'a'), b(65532, 'b'), c(70000, 'c');
  send(pwr::createMetric({.name = "M", .finiteSet = {Data(longest)}}), 1,
       {{Data(1), c6_, nullptr, 0}});
  EXPECT_EQ(log_.all(), "");
  send(pwr::createMetric({.name = "M", .finiteSet = {Data(b), Data(c)}}), 1,
       {{Data(1), c6_, nullptr, 0}});
  EXPECT_EQ(log_.all(),
            "WARNING: Binary writer plugin cuts strings to 65531 bytes; the first such has 65532 "
            "bytes\n");
  EXPECT_EQ(writer_->closeOutput(), 0);
  EXPECT_NE(read("run.ztbin")
                .find(stringRecord(6, longest) + stringRecord(7, b.substr(1)) +
                      stringRecord(8, c.substr(0, 65531))),
            std::string::npos);
}

TEST_F(BinaryWriterTest, MetricWithoutQuantityRepeatsTheLastOne) {
  const pwr::Quantity* const none = nullptr;
  std::vector<const pwr::MetricDescription*> metrics;
  for (const pwr::Quantity* quantity : {none, watts_, none}) {
    metrics.push_back(pwr::createMetric({.name = "M", .quantity = quantity}));
    send(metrics.back(), 1, {{Data(1), c6_, nullptr, 0}});
  }
  EXPECT_EQ(writer_->closeOutput(), 0);
  // Strings: "133" 1, "C6" 2, "" 3, "M" 4, kind 5, "Power" 6, "W" 7.
  std::string expected;
  for (const bool carries : {false, true, true}) {
    expected += record(3, u32(metrics[expected.size() / 23]->id) + u16(3) + u16(4) + u16(5) +
                              u16(carries ? 6 : 0) + u16(carries ? 7 : 0) + u16(carries) + u32(0));
  }
  EXPECT_NE(read("run.ztbin").find(expected), std::string::npos);
}

TEST_F(BinaryWriterTest, ValuesAndDurations) {
  const auto* const rate = pwr::createQuantity({.type = pwr::QuantityType::Rate});
  const auto* const state = pwr::createHandle({.type = pwr::DataHandleType::State, .name = "On"});
  const struct {
    Data value;
    const pwr::Quantity* quantity;
    unsigned long long ticks;  // two to the microsecond
    float duration, stored;
  } cases[] = {
      {Data(-3), nullptr, 5, 2, -3},
      {Data(~0ULL), nullptr, ~0ULL, 9223372036854775808.0F, 18446744073709551616.0F},
      {Data(0.1), rate, 5, 5, 0.1F},
      {Data(0.1), nullptr, 5, 2, 0.1F},  // after the same ticks of a rate
      {Data(0.1), rate, 5, 5, 0.1F},
      {Data(Data::IntPair(-2, 9)), nullptr, 0, 0, -2},
      {Data(Data::UIntPair(2, 9)), nullptr, 0, 0, 2},
      {Data(Data::RealPair(2.5, 9)), nullptr, 0, 0, 2.5F},
      {Data(state), nullptr, 9, 4, 4},
      {Data("Off"), nullptr, 8, 4, 4},
  };
  std::string expected;
  for (const auto& [value, quantity, ticks, duration, stored] : cases) {
    const auto* const metric = pwr::createMetric({.name = "M", .quantity = quantity});
    send(metric, 1, {{value, c6_, nullptr, ticks}, {Data(), c6_, nullptr, ticks}});
    expected += pointRecord(1, duration, metric->id, 4, 1, stored);
  }
  EXPECT_EQ(writer_->closeOutput(), 0);
  EXPECT_TRUE(read("run.ztbin").ends_with(expected));
  EXPECT_NE(log_.general().find("failed to convert a value of metric M"), std::string::npos);
}

TEST_F(BinaryWriterTest, TellsWhatItDoesInItsOrder) {
  PluginEnvironment& environment = *g_pluginEnvironment;
  environment.enableDebugLoggingFor("binarywriter");
  environment.enableDebugLoggingFor("iter");
  const auto* const metric = pwr::createMetric({.name = "M"});
  const std::string point =
      "INFO: key = M/P0, name = C6, state = N/A, hasStates = FALSE, Value = 1.00\n";
  for (const bool isNew : {true, false}) {
    log_.clear();
    send(metric, 1, {{Data(1), c6_, package_, 0}});
    const std::string news =
        "INFO: getStringStoreIndex_i has name = 133, val = 0\n"
        "INFO: getStringStoreIndex_i has name = C6, val = 0\n" +
        point + "INFO: metric container with name M and id " + std::to_string(metric->id) +
        " does NOT have metadata sent yet\n"
        "INFO: getStringStoreIndex_i has name = , val = 0\n"
        "INFO: getStringStoreIndex_i has name = M, val = 0\n"
        "INFO: getStringStoreIndex_i has name = SAMPLED_VALUE, val = 0\n"
        "INFO: getStringStoreIndex_i has name = M/P0, val = 0\n";
    EXPECT_EQ(log_.all(),
              (isNew ? news : point + "INFO: getStringStoreIndex_i has name = M/P0, val = 6\n") +
                  "INFO: wrote Metric message\n");
  }
}

// More than one block of either size and more than one write to the file.
TEST_F(BinaryWriterTest, ManyPoints) {
  const auto* const metric = pwr::createMetric({.name = "M"});
  std::string expected;
  for (unsigned n = 0; n < 80000; ++n) {
    const unsigned microseconds = n / 2;
    std::vector<pwr::DataElement> elements(n % 6, {Data(n), c6_, nullptr, n});
    for (std::size_t i = 0; i < elements.size(); ++i) {
      expected +=
          pointRecord(n, static_cast<float>(microseconds), metric->id, 4, 1, static_cast<float>(n));
    }
    send(metric, n, std::move(elements));
  }
  EXPECT_EQ(writer_->closeOutput(), 0);
  EXPECT_TRUE(read("run.ztbin").ends_with(expected));
}

TEST_F(BinaryWriterTest, WhatCannotBeWrittenIsReportedAndKept) {
  namespace fs = std::filesystem;
  const auto* const metric = pwr::createMetric({.name = "M"});
  const auto run = [&](const std::string& name) { beginContinuous(name, metric); };
  run("whole");
  ASSERT_TRUE(flush());
  const std::string whole = read("whole_0.ztbin");

  run("later/run");
  EXPECT_FALSE(flush());
  EXPECT_NE(log_.errors().find("later/run_1.ztbin: No such file or directory. Its points are kept"),
            std::string::npos);
  fs::create_directory(folder_.path("later"));
  obstruct(folder_.path("later/run_1.ztbin"));
  EXPECT_FALSE(flush()) << "the number is not used up";
  fs::remove(folder_.path("later/run_1.ztbin"));
  EXPECT_TRUE(flush());
  EXPECT_EQ(read("later/run_1.ztbin"), whole) << "the next file carries all of it";
  EXPECT_EQ(writer_->closeOutput(), 0);
  EXPECT_FALSE(flush()) << "closed";

  run("nowhere/run");
  EXPECT_FALSE(flush());
  fs::create_directory(folder_.path("nowhere"));
  EXPECT_EQ(writer_->closeOutput(), 0) << "tried once more";
  EXPECT_EQ(read("nowhere/run_2.ztbin"), whole);

  reopen("full", false);
  EXPECT_FALSE(flush()) << "not continuous";
  obstruct(folder_.path("full.ztbin"));
  EXPECT_EQ(writer_->closeOutput(), 1);
}

TEST_F(BinaryWriterTest, AfterAnyCloseItIsAsNew) {
  const auto* const metric = pwr::createMetric({.name = "M"});
  const auto open = [&](const std::string& name) {
    EXPECT_EQ(writer_->openOutput(folder_.path(name), false), 0);
    WriterDispatch::write(*writer_, pwr::SystemMessage(&system_));
  };
  send(metric, 1, {{Data(1), c6_, nullptr, 0}});
  open("ignored");  // it is open
  EXPECT_EQ(writer_->closeOutput(), 0);
  EXPECT_FALSE(std::filesystem::exists(folder_.path("ignored.ztbin")));
  const std::string first = read("run.ztbin");

  open("nowhere/run");
  send(metric, 1, {{Data(1), c6_, nullptr, 0}});
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(writer_->closeOutput(), 1) << "closed";
  open("again");
  send(metric, 1, {{Data(1), c6_, nullptr, 0}});
  EXPECT_EQ(writer_->closeOutput(), 0);
  EXPECT_EQ(read("again.ztbin"), first);
}

TEST_F(BinaryWriterTest, NamesHaveAtMost1023Bytes) {
  if (kIsWindows) GTEST_SKIP() << "names that long need another form there";
  const std::string folder = makeDeepFolder(folder_);
  for (const std::string ending : {".ztbin", "_0.ztbin"}) {
    const std::size_t room = 1023 - folder.size() - ending.size();
    for (const std::size_t length : {room + 1, room}) {
      const std::string name = folder + std::string(length, 'n');
      const bool isNumbered = ending != ".ztbin";
      writer_ = std::make_unique<BinaryWriter>();
      ASSERT_EQ(writer_->openOutput(name, isNumbered), 0);
      EXPECT_EQ(flush(), isNumbered && length == room);
      EXPECT_EQ(writer_->closeOutput(), length == room ? 0 : 1);
      EXPECT_EQ(std::filesystem::exists(name + ending), length == room);
      const bool isTold =
          log_.errors().find(name + ending + ": File name too long.") != std::string::npos;
      EXPECT_EQ(isTold, length != room);
    }
  }
}

TEST_F(BinaryWriterTest, AProblemOfASeriesIsAWarningOnce) {
  const auto* const metric = pwr::createMetric({.name = "M"});
  g_pluginEnvironment->setVerbosity(PW_LOG_DEBUG);
  for (const char* word : {"WARNING", "DEBUG"}) {
    log_.clear();
    send(metric, 1, {{Data(1), nullptr, cpu_, 0}, {Data(), c6_, cpu_, 0}});
    EXPECT_EQ(log_.all(),
              word + std::string(": Binary writer plugin failed to retrieve descriptor\n") + word +
                  ": Binary writer plugin failed to convert a value of metric M\n");
  }
  send(metric, 1, {{Data(), c6_, package_, 0}});
  EXPECT_NE(log_.all().find("WARNING"), std::string::npos) << "another series";
}

TEST_F(BinaryWriterTest, MemoryThatRunsOutCostsOneFileAndNoRecord) {
  const auto* const metric = pwr::createMetric({.name = "M"});
  const auto run = [&](const std::string& name) { beginContinuous(name, metric); };
  run("whole");
  ASSERT_TRUE(flush());
  run("scarce");
  g_pluginEnvironment->enableDebugLoggingFor("iter");
  const auto log = std::make_shared<ScarceMemoryLog>();
  g_pluginEnvironment->setSinks(log, log);
  int failures = 0;
  while (failures < 100 && !flush()) {
    EXPECT_FALSE(std::filesystem::exists(folder_.path("scarce_1.ztbin")));
    log->lines = ++failures;
  }
  EXPECT_EQ(failures, 8 + 5) << "strings of the system, buffers";
  EXPECT_EQ(log->errors.find("scarce_1.ztbin: Cannot allocate memory. Its points are kept"),
            log->errors.find("scarce_1.ztbin: "));
  EXPECT_EQ(read("scarce_1.ztbin"), read("whole_0.ztbin"));
  log->lines = 0;
  reopen("closed", false);
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_FALSE(std::filesystem::exists(folder_.path("closed.ztbin")));
}

#if !defined(_WIN32)
TEST_F(BinaryWriterTest, AFullDiskLeavesTheLastGoodFileAndNeverAHalfOne) {
  folder_.write("run_0.ztbin", "good");
  const std::string incomplete = folder_.path("run_0.ztbin.incomplete");
  reopen("run", true);
  send(pwr::createMetric({.name = "M"}), 1, {{Data(1), c6_, nullptr, 0}});
  const FullDisk full(100);
  EXPECT_FALSE(flush());
  EXPECT_EQ(read("run_0.ztbin"), "good");
  EXPECT_EQ(log_.errors(), "ERROR: Could not write " + folder_.path("run_0.ztbin") +
                               ": File too large. Its points are kept for the next file.\n");
  EXPECT_FALSE(std::filesystem::exists(incomplete));
  EXPECT_EQ(writer_->closeOutput(), 1);
  EXPECT_EQ(read("run_0.ztbin"), "good");
  EXPECT_EQ(std::filesystem::file_size(incomplete), 100U);
  EXPECT_NE(log_.errors().find("What there is stands in " + incomplete), std::string::npos);
}
#endif

TEST_F(BinaryWriterTest, WarnsOnceBeforeIndicesBeginAgain) {
  // Besides the values, of which one is 133 too, there are "133", "C6", "", "M" and the kind.
  int value = 0;
  const auto sendValues = [&](int count) {
    pwr::MetricDescription description{.name = "M"};
    while (count-- > 0) description.finiteSet.emplace_back(value++);
    send(pwr::createMetric(std::move(description)), 1, {{Data(1), c6_, nullptr, 0}});
  };
  for (const int count : {30000, 30000, 5531}) sendValues(count);
  EXPECT_EQ(log_.all(), "");
  sendValues(1);
  const std::string warning = log_.general();
  EXPECT_NE(warning.find("WARNING: Binary writer plugin has no string index left after 65535"),
            std::string::npos);
  for (const int count : {30000, 30000, 10000}) sendValues(count);
  EXPECT_EQ(log_.all(), warning);

  // What does not fit into one record is left out, and said to be.
  sendValues(32758);
  EXPECT_NE(log_.all().find("cannot describe all series and values of metric M"),
            std::string::npos);
}

}  // namespace
