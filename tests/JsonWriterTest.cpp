#include <gtest/gtest.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#if !defined(_WIN32)
#include <unistd.h>
#endif

#include <cmath>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "TestSupport.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"
#include "writers/continuous/DocumentNames.h"
#include "writers/continuous/JSONWriter.h"

/// Has the sanitizer refuse memory as the system does, where it would end the process.
extern "C" __attribute__((visibility("default"))) const char*
__asan_default_options() {  // NOLINT(clang-diagnostic-reserved-identifier): the sanitizer's
  return "allocator_may_return_null=1";
}

namespace {

#if !defined(_WIN32)
/// As long as it exists, the process can get no more than 8 MiB of further memory.
class ScarceMemory {
 public:
  ScarceMemory() {
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    getrlimit(RLIMIT_AS, &before_);
    const rlim_t used = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const rlimit limit{used + (rlim_t{8} << 20U), before_.rlim_max};
    setrlimit(RLIMIT_AS, &limit);
  }
  ~ScarceMemory() { setrlimit(RLIMIT_AS, &before_); }
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;

 private:
  rlimit before_{};
};
#endif

using MetricType = pwr::Metric::MetricType;

constexpr unsigned long long kStart = 1000;

const pwr::EntityHandle* entity(const std::string& name,
                                const pwr::EntityHandle* parent = nullptr) {
  return pwr::createEntity({.name = name, .parent = parent});
}

const pwr::DataDescriptor* descriptor(const std::string& name, const char* attribute = nullptr) {
  static const auto* const latency =
      pwr::Attribute::create("Latency", nullptr, pwr::AttributeType::String);
  pwr::DataDescriptorBuilder builder(name, "");
  if (attribute != nullptr) builder.addAttributeValue(latency, pwr::Data(attribute));
  return pwr::DataDescriptor::create(builder);
}

const pwr::DataHandle* state(const std::string& name, const char* attribute = nullptr) {
  pwr::DataHandleDescription handle{.type = pwr::DataHandleType::State, .name = name};
  if (attribute != nullptr) {
    handle.attributes.addAttributeValue(
        pwr::Attribute::create("Text", nullptr, pwr::AttributeType::String), pwr::Data(attribute));
  }
  return pwr::createHandle(std::move(handle));
}

const pwr::Quantity* energy() {
  static const auto* const power =
      pwr::createQuantity({.type = pwr::QuantityType::Power, .name = "Power", .units = "mW"});
  static const auto* const quantity = pwr::createQuantity({.type = pwr::QuantityType::Energy,
                                                           .name = "Energy",
                                                           .units = "mJ",
                                                           .rate = power,
                                                           .rateFactor = 0.5});
  return quantity;
}

pwr::SystemDescription smallSystem() {
  pwr::SystemDescription system{.platformId = 7,
                                .platformName = "Board",
                                .hostName = "h\"1",
                                .osName = "Linux",
                                .osType = "x86_64",
                                .osVersion = "6.1",
                                .cpuCodeName = "Code",
                                .cpuNativeModelName = "Model",
                                .pchDeviceNames = {"P1", "P2"},
                                .tscFrequencyMHz = 2.0F,
                                .cpuFrequencyMHz = 2400.0F,
                                .hfmFrequencyMHz = 4900.5F,
                                .lfmFrequencyMHz = 800.0F,
                                .busFrequencyMHz = 100.0F,
                                .collectionStartTimestamp = kStart,
                                .productVersion = "1.0",
                                .driverVersion = "d2",
                                .commandLine = "tavrin\trecord"};
  system.topology.addThread(0, -1, 0, 0);
  return system;
}

/// Metrics with ids that only a very long run comes to. They live as long as the process.
std::vector<std::unique_ptr<const pwr::MetricDescription>>& descriptions() {
  static std::vector<std::unique_ptr<const pwr::MetricDescription>> all;
  return all;
}

class JsonWriterTest : public testing::Test {
 protected:
  void open(bool continuous, JSONWriter& writer) {
    EXPECT_EQ(writer.openOutput(folder_.path("run"), continuous), 0);
    WriterDispatch::write(writer, pwr::SystemMessage(&system_));
  }
  void open(bool continuous = false) { open(continuous, writer_); }

  static int send(JSONWriter& writer, const pwr::MetricDescription* metric,
                  unsigned long long timestamp, std::vector<pwr::DataElement> elements) {
    pwr::Metric message(metric);
    message.editData() = {timestamp, std::move(elements)};
    return WriterDispatch::write(writer, message);
  }
  void send(const pwr::MetricDescription* metric, unsigned long long timestamp,
            std::vector<pwr::DataElement> elements) {
    EXPECT_EQ(send(writer_, metric, timestamp, std::move(elements)), 0);
  }

  /// Ends the run and returns the value of the document's member "data".
  std::string dataOfTrace() {
    EXPECT_EQ(writer_.closeOutput(), 0);
    const std::string text = readFile(folder_.path("run.ztjson"));
    const std::size_t data = text.find("\"data\":");
    return data == std::string::npos || !text.ends_with("}\n")
               ? text
               : text.substr(data + 7, text.size() - data - 9);
  }

  TempFolder folder_;
  LogCapture log_;
  pwr::SystemMetadata system_{smallSystem()};
  JSONWriter writer_;
};

TEST_F(JsonWriterTest, AWholeRunIsOneDocument) {
  open();
  system_.edit().collectionStopTimestamp = 5000;
  system_.edit().collectionDurationSec = 0.002;
  const auto* const cpu = entity("CPU0");
  const auto* const value = descriptor("Value");
  const auto* const metric = pwr::createMetric({.name = "Load", .combinations = {{cpu, value}}});
  send(metric, 1010, {{pwr::Data(3), value, cpu, 10}});
  EXPECT_EQ(writer_.closeOutput(), 0);
  EXPECT_EQ(readFile(folder_.path("run.ztjson")),
            R"({"fileType":"tavrin","version":{"major":1,"minor":0,"rev":0},)"
            R"("systemMetaData":{"platform":{"Platform ID":7,"Platform Name":"Board",)"
            R"("CPU Name":"Code","CPU Native Name":"Model","PCH Name":"P1, P2",)"
            R"("Host Name":"h\"1","Num Packages":1,"Num Modules":0,"Num Cores":1,"Num Threads":1,)"
            R"("HFM Frequency MHz":4900.5,"LFM Frequency MHz":800.0,"CPU Frequency MHz":2400.0,)"
            R"("Bus Frequency MHz":100.0},"os":{"OS Name":"Linux","OS Type":"x86_64",)"
            R"("OS Version":"6.1"},"tavrin":{"Tavrin Version":"1.0","Tavrin Driver Version":"d2",)"
            R"("Collection Start Timestamp":1000,"Collection Stop Timestamp":5000,)"
            R"("Collection Duration":0.002,"Collection Command Line":"tavrin\trecord"}},)"
            R"("data":{"Load":{"metaData":{"type":"SAMPLED_VALUE","altUnits":[]},)"
            R"("data":{"CPU0":{"name":"CPU0","friendlyName":"CPU0 Load",)"
            R"("points":[{"x":5,"x1":10,"y":3.0}]}}}}})"
            "\n");
}

TEST_F(JsonWriterTest, ARunWithoutMetricsHasNoData) {
  open();
  EXPECT_EQ(dataOfTrace(), "{}");
}

TEST_F(JsonWriterTest, ARunHasNothingOfTheOneBefore) {
  const auto* const metric = pwr::createMetric({.name = "M"});
  const std::vector<pwr::DataElement> elements = {{pwr::Data(1), descriptor("v"), nullptr, 2}};
  open();
  send(metric, kStart, elements);
  EXPECT_NE(dataOfTrace(), "{}");
  EXPECT_EQ(send(writer_, metric, kStart, elements), 1) << "closed";
  EXPECT_EQ(writer_.closeOutput(), 1);
  EXPECT_NE(readFile(folder_.path("run.ztjson")), "") << "of the run before";
  open();
  EXPECT_EQ(dataOfTrace(), "{}");
}

TEST_F(JsonWriterTest, RatesDivideByTheLengthOfThePoint) {
  open();
  const auto* const zone = entity("Zone");
  const auto *const in = descriptor("in"), *const out = descriptor("out");
  const auto* const metric = pwr::createMetric({.name = "Energy",
                                                .type = MetricType::SampledDelta,
                                                .quantity = energy(),
                                                .combinations = {{zone, in}, {zone, out}}});
  send(metric, 1000, {{pwr::Data(3), in, zone, 2000000}, {pwr::Data(8U), out, zone, 2000000}});
  send(metric, 3000, {{pwr::Data(3), in, zone, 1}, {pwr::Data(8U), out, zone, 1}});
  send(metric, 3000, {{pwr::Data(std::pair(2.5, 9.0)), in, zone, 2}});
  const auto* const own =
      pwr::createQuantity({.type = pwr::QuantityType::Rate, .name = "Rate", .units = "/s"});
  const auto* const rate = pwr::createMetric({.name = "Own", .quantity = own});
  send(rate, 1002, {{pwr::Data(4.5), in, nullptr, 900}});
  EXPECT_EQ(dataOfTrace(),
            R"({"Energy":{"metaData":{"type":"SAMPLED_DELTA","altUnits":[{"name":"Energy",)"
            R"("unit":"mJ","conversion":1.0,"isCalculatedRate":false},{"name":"Power","unit":"mW",)"
            R"("conversion":0.5,"isCalculatedRate":true}],"units":"mW"},"data":{"Zone":{)"
            R"("name":"Zone","friendlyName":"Zone Energy","points":[)"
            R"({"x":0,"x1":1000000,"y":1.5,"y1":4.0},{"x":1000,"x1":1000,"y":0.0,"y1":0.0},)"
            R"({"x":1000,"x1":1001,"y":1250000.0}]}}},)"
            R"("Own":{"metaData":{"type":"SAMPLED_VALUE","altUnits":[{"name":"Rate","unit":"/s",)"
            R"("conversion":1.0,"isCalculatedRate":true}],"units":"/s"},"data":{"Own":{)"
            R"("name":"Own","friendlyName":"Own","points":[{"x":1,"x1":1,"y":0.0}]}}}})");
}

TEST_F(JsonWriterTest, StatesAreNumberedPerGroup) {
  open();
  // Descriptors that are states, of two entities of one name, with lists of their own.
  const auto *const a = entity("CPU0", entity("P0")), *const b = entity("CPU0", entity("P1"));
  const auto *const ten = descriptor("10"), *const two = descriptor("2");
  const auto* const active = descriptor("ACTIVE");
  const auto* const metric = pwr::createMetric(
      {.name = "Sleep", .type = MetricType::SampledResidency, .quantity = pwr::Quantity::time()});
  for (const unsigned long long time : {1000ULL, 1004ULL}) {
    send(metric, time,
         {{pwr::Data(1), ten, a, 4},
          {pwr::Data(2), two, a, 4},
          {pwr::Data(3), two, b, 4},
          {pwr::Data(4), active, b, 4},
          {pwr::Data(5), active, b, 6}});
  }
  // Values that are states.
  const auto* const power = descriptor("Power");
  const auto* const change =
      pwr::createMetric({.name = "D", .type = MetricType::TracedValueTransition});
  send(change, 1000, {{pwr::Data(state("x", "D3")), power, nullptr, 20}});
  send(change, 1020, {{pwr::Data(state("D0")), power, nullptr, 6}});
  send(change, 1026, {{pwr::Data("D10"), power, nullptr, 2}});
  const std::string points1 = R"([{"x":0,"x1":2,"y":{"1":1.0,"0":2.0}},)"
                              R"({"x":2,"x1":4,"y":{"1":1.0,"0":2.0}}]})";
  const std::string points2 =
      R"([{"x":0,"x1":2,"y":{"0":3.0,"2":4.0}},{"x":0,"x1":3,"y":{"2":5.0}},)"
      R"({"x":2,"x1":4,"y":{"0":3.0,"2":4.0}},{"x":2,"x1":5,"y":{"2":5.0}}]})";
  EXPECT_EQ(
      dataOfTrace(),
      R"({"Sleep":{"metaData":{"type":"SAMPLED_RESIDENCY","states":["2","10","ACTIVE"],)"
      R"("altUnits":[{"name":"Time","unit":"ticks","conversion":1.0,"isCalculatedRate":false}],)"
      R"("units":"ticks"},"data":{"P0/CPU0":{"name":"P0/CPU0","friendlyName":"P0/CPU0 Sleep","points":)" +
          points1 + R"(,"P1/CPU0":{"name":"P1/CPU0","friendlyName":"P1/CPU0 Sleep","points":)" +
          points2 +
          R"(}},"D":{"metaData":{"type":"TRACED_VALUE_TRANSITION","states":["D0","D10","D3"],)"
          R"("altUnits":[]},"data":{"D":{"name":"D","friendlyName":"D","points":[)"
          R"({"x":0,"x1":10,"y":{"2":10.0}},{"x":10,"x1":13,"y":{"0":3.0}},)"
          R"({"x":13,"x1":14,"y":{"1":1.0}}]}}}})");
}

TEST_F(JsonWriterTest, NamesThatCollideAreFullWhateverTheOrder) {
  const auto *const p0 = entity("P0"), *const p1 = entity("P1");
  const auto *const a = entity("CPU0", p0), *const b = entity("CPU0", p1), *const c = entity("X");
  const auto *const d = entity("P1/CPU0"), *const e = entity("P1/CPU0"), *const f = entity("M");
  const auto* const value = descriptor("v");
  const std::map<const pwr::EntityHandle*, std::string> names = {
      {a, "P0/CPU0"},     {b, "P1/CPU0"}, {c, "X"},      {d, "P1/CPU0 (2)"},
      {e, "P1/CPU0 (3)"}, {f, "M (2)"},   {nullptr, "M"}};
  for (const auto& order : {std::vector{a, b, c, d, e, f}, {e, f, d, c, b, a}}) {
    const auto* const metric = pwr::createMetric({.name = "M"});
    open();
    for (const auto* const place : order) {
      send(metric, kStart, {{pwr::Data(1), value, place, 2}});
    }
    send(metric, kStart, {{pwr::Data(1), value, nullptr, 2}});
    std::string expected;
    for (const auto* const place : order) {
      const std::string& name = names.at(place);
      expected += '"';
      expected.append(name).append(R"(":{"name":")").append(name);
      expected.append(R"(","friendlyName":")").append(name);
      expected += R"( M","points":[{"x":0,"x1":1,"y":1.0}]},)";
    }
    EXPECT_EQ(dataOfTrace(), R"({"M":{"metaData":{"type":"SAMPLED_VALUE","altUnits":[]},"data":{)" +
                                 expected + R"("M":{"name":"M","friendlyName":"M",)" +
                                 R"("points":[{"x":0,"x1":1,"y":1.0}]}}}})");
  }
}

TEST_F(JsonWriterTest, ManyDescriptorsBecomeStatesAndNoneOfAFewIsLost) {
  open();
  const auto* const cpu = entity("E");
  const auto *const a = descriptor("a"), *const b = descriptor("b"), *const c = descriptor("c");
  const std::vector<pwr::DataElement> three = {
      {pwr::Data(1), a, cpu, 2}, {pwr::Data(2), b, cpu, 2}, {pwr::Data(3), c, cpu, 2}};
  send(pwr::createMetric(
           {.name = "Told", .quantity = energy(), .combinations = {{cpu, a}, {cpu, b}, {cpu, c}}}),
       1000, three);
  send(pwr::createMetric({.name = "Untold"}), 1000, three);
  const std::string data = dataOfTrace();
  EXPECT_NE(data.find(R"("states":["a","b","c"])"), std::string::npos) << data;
  EXPECT_NE(data.find(R"("units":"mJ"})"), std::string::npos) << data;
  EXPECT_NE(data.find(R"([{"x":0,"x1":1,"y":{"0":1.0,"1":2.0,"2":3.0}}])"), std::string::npos);
  EXPECT_NE(data.find(R"([{"x":0,"x1":1,"y":1.0,"y1":2.0},{"x":0,"x1":1,"y":3.0}])"),
            std::string::npos)
      << data;
}

TEST(StateNames, SortNumbersBeforeTheRest) {
  const struct {
    std::vector<std::string> names, sorted;
  } cases[] = {
      {{"10", "2", "ACTIVE"}, {"2", "10", "ACTIVE"}},
      {{"C6", "C10", "C1", "C1E"}, {"C1", "C10", "C1E", "C6"}},
      {{"b", "", "-1", "ab", "a", "7"}, {"-1", "", "7", "a", "ab", "b"}},
      {{"+3", " 2", "1x", "x1", " "}, {" 2", "+3", " ", "1x", "x1"}},
      {{"\xC3\xA4", "z", "1"}, {"1", "z", "\xC3\xA4"}},
      {{"1", "01", "99999999999999999999"}, {"01", "1", "99999999999999999999"}},
      {{}, {}},
  };
  for (const auto& [names, sorted] : cases) {
    std::vector<std::string> result = names;
    sortStateNames(result);
    EXPECT_EQ(result, sorted);
  }
}

TEST_F(JsonWriterTest, WritesNumbersAndTextsInTheirForms) {
  open();
  const std::pair<pwr::Data, const char*> cases[] = {{pwr::Data(3), "3.0"},
                                                     {pwr::Data(0.1), "0.1"},
                                                     {pwr::Data(-0.0), "-0.0"},
                                                     {pwr::Data(1e21), "1e21"},
                                                     {pwr::Data(1e20), "100000000000000000000.0"},
                                                     {pwr::Data(1e-7), "1e-7"},
                                                     {pwr::Data(1.5e-300), "1.5e-300"},
                                                     {pwr::Data(std::pair(-7LL, 9LL)), "-7.0"},
                                                     {pwr::Data(std::pair(7ULL, 9ULL)), "7.0"}};
  const auto* const odd = entity("a/\"\\\x01\n\xC3\xA4");
  const auto* const value = descriptor("v");
  const auto* const metric = pwr::createMetric({.name = "M"});
  std::string points;
  for (const auto& [data, text] : cases) {
    send(metric, kStart, {{data, value, odd, 0}});
    points += std::string(points.empty() ? "" : ",") + R"({"x":0,"x1":0,"y":)" + text + "}";
  }
  const std::string text = R"("a/\"\\\u0001\n)"
                           "\xC3\xA4\"";
  const std::string data = dataOfTrace();
  EXPECT_NE(data.find("\"points\":[" + points + "]"), std::string::npos) << data;
  EXPECT_NE(data.find("\"data\":{" + text + ":{\"name\":" + text), std::string::npos) << data;
}

TEST_F(JsonWriterTest, NumbersHaveTheTextOfTheLibrary) {
  std::mt19937_64 random(testSeed());
  std::vector<double> numbers{0.0,       0.001,  0.0005,   0.009,         0.01,
                              0.1 + 0.2, 0.125,  1.0005,   1e9,           999999999.999,
                              1e13,      -1.125, 1e15 / 8, 123456789.0625};
  for (int i = 0; i < 20'000; ++i) {
    const std::uint64_t bits = random() % 64;
    const auto number = static_cast<double>(random() >> bits) / std::pow(10.0, random() % 6);
    numbers.insert(numbers.end(), {number, std::nextafter(number, 0.0)});
  }
  open();
  const auto* const metric = pwr::createMetric({.name = "M"});
  const auto* const value = descriptor("v");
  std::vector<pwr::DataElement> elements;
  rapidjson::StringBuffer expected;
  rapidjson::Writer<rapidjson::StringBuffer> json(expected);
  json.StartArray();
  for (const double number : numbers) {
    elements.push_back({pwr::Data(number), value, nullptr, 0});
    json.StartObject();
    json.Key("x");
    json.Uint64(0);
    json.Key("x1");
    json.Uint64(0);
    json.Key("y");
    json.Double(number);
    json.EndObject();
  }
  json.EndArray();
  send(metric, kStart, std::move(elements));
  const std::string data = dataOfTrace();
  EXPECT_NE(data.find(std::string("\"points\":") + expected.GetString()), std::string::npos)
      << "a number has another text";
}

TEST_F(JsonWriterTest, TimesAreOfSinglePrecision) {
  system_.edit().tscFrequencyMHz = 3.0F;
  open();
  const auto* const value = descriptor("v");
  const auto* const metric = pwr::createMetric({.name = "M"});
  // Floats near 3e9 are 256 apart, their thirds 64: samples fall together or drift apart.
  for (const unsigned long long ticks : {3000000001ULL, 3000000060ULL, 3000000300ULL}) {
    send(metric, kStart + ticks, {{pwr::Data(1), value, nullptr, 100}});
  }
  send(metric, kStart - 1, {{pwr::Data(1), value, nullptr, 30}});
  const std::string data = dataOfTrace();
  EXPECT_NE(data.find(R"([{"x":1000000000,"x1":1000000033,"y":1.0},)"
                      R"({"x":1000000000,"x1":1000000033,"y":1.0},)"
                      R"({"x":1000000128,"x1":1000000161,"y":1.0},)"
                      R"({"x":0,"x1":10,"y":1.0}])"),
            std::string::npos)
      << data;
}

TEST_F(JsonWriterTest, LeavesOutWhatItCannotDescribe) {
  const auto* const value = descriptor("v");
  const auto* const metric = pwr::createMetric({.name = "M"});
  const std::vector<pwr::DataElement> elements = {
      {pwr::Data(1), nullptr, nullptr, 2},
      {pwr::Data(), value, nullptr, 2},
      {pwr::Data(pwr::createHandle({})), value, nullptr, 2},
      {pwr::Data(4), value, nullptr, 2}};
  const std::string noValue = "WARNING: Unable to retrieve a data value of M\n";
  open();
  send(metric, kStart, elements);
  EXPECT_EQ(log_.all(), "WARNING: Unable to retrieve data descriptor\n" + noValue) << "once";
  EXPECT_NE(dataOfTrace().find(R"("points":[{"x":0,"x1":1,"y":4.0}])"), std::string::npos);

  log_.clear();
  JSONWriter writer;
  open(true, writer);
  send(writer, metric, kStart, elements);
  EXPECT_EQ(log_.all(), "WARNING: Continuous writer plugin failed to retrieve descriptor\n" +
                            noValue + "WARNING: no quantity so no units for M?!\n");
  EXPECT_TRUE(writer.flushContinuousResults(system_));
  const std::string text = readFile(folder_.path("run_0.ztjson"));
  EXPECT_NE(text.find(R"("ID":)" + std::to_string(metric->id) + R"(,"Name":"M","Type":)"),
            std::string::npos)
      << text;

  EXPECT_EQ(writer.closeOutput(), 0);
  log_.clear();
  open(true, writer);
  send(writer, metric, kStart, elements);
  EXPECT_EQ(log_.all(),
            "WARNING: Continuous writer plugin failed to retrieve descriptor\n" + noValue)
      << "once in each run";
}

TEST_F(JsonWriterTest, ContinuousFilesAreNumberedAndCarryWhatIsNew) {
  open(true);
  JSONWriter second;
  open(true, second);
  const auto* const cpu = entity("CPU0", entity("P1"));
  const auto *const c1 = descriptor("C1", "33 us"), *const c6 = descriptor("C6");
  const auto* const metric = pwr::createMetric({.name = "Sleep",
                                                .featureTag = "cstate",
                                                .type = MetricType::SampledResidency,
                                                .quantity = pwr::Quantity::time(),
                                                .combinations = {{cpu, c1}, {nullptr, c6}},
                                                .finiteSet = {pwr::Data("on"), pwr::Data(0.5)}});
  const std::string id = std::to_string(metric->id);
  send(metric, 1000, {{pwr::Data(7), c1, cpu, 3}});
  EXPECT_EQ(send(second, metric, 2000, {{pwr::Data(state("S")), c6, nullptr, 5}}), 0);
  // A file that cannot be completed leaves nothing behind, and its points to the next.
  obstruct(folder_.path("run_0.ztjson"));
  EXPECT_FALSE(second.flushContinuousResults(system_));
  EXPECT_EQ(second.closeOutput(), 1);
  EXPECT_NE(log_.errors().find("run_0.ztjson: "), std::string::npos) << log_.all();
  EXPECT_NE(log_.errors().find(" Its points are kept for the next file.\n"), std::string::npos);
  log_.clear();
  std::filesystem::remove(folder_.path("run_0.ztjson"));
  system_.edit().collectionDurationSec = 1234567.5;
  EXPECT_TRUE(writer_.flushContinuousResults(system_));
  const std::string head =
      R"({"Metadata":[{"FeatureName":"SystemMetadata","Name":"SystemMetadata","ID":-1,)"
      R"("Platform":{"Platform ID":"7","Plaform Name":"Board","CPU Name":"Code",)"
      R"("CPU Native Name":"Model","PCH Name":"P1, P2","Host Name":"h\"1","Num Packages":"1",)"
      R"("Num Modules":"0","Num Cores":"1","Num Threads":"1","HFM Frequency MHz":"4900.5",)"
      R"("LFM Frequency MHz":"800","CPU Frequency MHz":"2400","Bus Frequency MHz":"100"},)"
      R"("OS":{"OS Name":"Linux","OS Type":"x86_64","OS Version":"6.1"},)"
      R"("Tavrin":{"Collection Start Timestamp":"1000","Collection Stop Timestamp":"0",)"
      R"("Collection Duration":"1.23457e+06"}},{"FeatureName":"cstate","Name":"Sleep","ID":)" +
      id +
      R"(,"Name":"Sleep","Units":"ticks","Quantity":"Time","Type":"SAMPLED_RESIDENCY",)"
      R"("States":["on","0.50"],"Entity-Descriptor-Combinations":[)"
      R"({"Entity":"P1/CPU0","Descriptor":"C1","eValue":"33 us"},)"
      R"({"Entity":"","Descriptor":"C6","eValue":""}]}],"Data":[)";
  EXPECT_EQ(readFile(folder_.path("run_0.ztjson")),
            head + R"({"ID":)" + id + R"(,"Entity":"P1/CPU0","Descriptor":"C1","Timestamp":1000,)" +
                R"("Duration":1.5,"Value":7.0},{"ID":)" + id +
                R"(,"Entity":"","Descriptor":"C6",)" +
                R"("Timestamp":2000,"Duration":2.5,"Value":2.5}]})");
  EXPECT_TRUE(writer_.flushContinuousResults(system_));
  EXPECT_EQ(readFile(folder_.path("run_1.ztjson")), head + "]}");
  EXPECT_EQ(writer_.closeOutput(), 0);
  EXPECT_FALSE(std::filesystem::exists(folder_.path("run.ztjson")));
  EXPECT_EQ(log_.all(), "");
}

TEST_F(JsonWriterTest, NumberedFilesTellMetricsApart) {
  open(true);
  const auto* const value = descriptor("v");
  const auto metricOf = [](unsigned int id, const char* name) {
    auto* const metric = new pwr::MetricDescription{.id = id, .name = name};
    descriptions().emplace_back(metric);
    return metric;
  };
  // A name that two have, one that is made for another already, and that of the system's node.
  const pwr::MetricDescription* const metrics[] = {
      metricOf(7, "A"), metricOf(0x80000000, "SystemMetadata"), metricOf(9, "A (8)"),
      metricOf(0xFFFFFFFE, "B"), metricOf(8, "A")};
  for (const auto* const metric : metrics) {
    send(metric, kStart, {{pwr::Data(1), value, nullptr, 2}});
    EXPECT_TRUE(writer_.flushContinuousResults(system_));
  }
  EXPECT_NE(readFile(folder_.path("run_0.ztjson")).find(R"("Name":"A","ID":7)"), std::string::npos);
  EXPECT_NE(readFile(folder_.path("run_1.ztjson")).find(R"({"ID":-2147483648,"Entity":)"),
            std::string::npos);
  const std::string text = readFile(folder_.path("run_4.ztjson"));
  for (const char* node :
       {R"-("Name":"A (7)","ID":7,"Name":"A")-", R"-("Name":"A (8)","ID":8,"Name":"A")-",
        R"-("Name":"A (8) (9)","ID":9,"Name":"A (8)")-", R"-("Name":"B","ID":-2,"Name":"B")-",
        R"-("Name":"SystemMetadata","ID":-1,"Platform")-",
        R"-("Name":"SystemMetadata (2147483648)","ID":-2147483648,"Name":"SystemMetadata")-"}) {
    EXPECT_NE(text.find(node), std::string::npos) << node << text;
  }
}

TEST_F(JsonWriterTest, RatesStayWithinWhatADocumentCanHold) {
  open();
  const auto* const value = descriptor("v");
  const auto* const metric = pwr::createMetric({.name = "M", .quantity = energy()});
  for (const double number : {1e308, -1e308}) {
    for (const unsigned long long ticks : {2ULL, 20000000000ULL}) {
      send(metric, kStart, {{pwr::Data(number), value, nullptr, ticks}});
    }
  }
  const std::string data = dataOfTrace();
  EXPECT_NE(data.find(R"("x1":1,"y":1.7976931348623157e308})"), std::string::npos) << data;
  EXPECT_NE(data.find(R"("x1":10000000000,"y":5e303})"), std::string::npos) << data;
  EXPECT_NE(data.find(R"("x1":1,"y":-1.7976931348623157e308})"), std::string::npos) << data;
}

TEST_F(JsonWriterTest, ATraceThatCannotBeWrittenIsReportedByTheClose) {
  obstruct(folder_.path("run.ztjson"));
  for (const std::string name : {"run", "nowhere/run"}) {
    JSONWriter writer;
    EXPECT_EQ(writer.openOutput(folder_.path(name), false), 0);
    EXPECT_EQ(WriterDispatch::write(writer, pwr::SystemMessage(&system_)), 0);
    EXPECT_FALSE(writer.flushContinuousResults(system_));
    EXPECT_EQ(log_.all(), "");
    EXPECT_EQ(writer.closeOutput(), 1);
    EXPECT_TRUE(
        log_.errors().starts_with("ERROR: Could not write " + folder_.path(name) + ".ztjson: "))
        << log_.all();
    log_.clear();
  }
}

#if !defined(_WIN32)
TEST_F(JsonWriterTest, AFullDiskLeavesTheLastGoodFileAndNeverAHalfOne) {
  const auto* const metric = pwr::createMetric({.name = "M"});
  const std::vector<pwr::DataElement> elements = {{pwr::Data(1), descriptor("v"), nullptr, 2}};
  for (const bool continuous : {false, true}) {
    const std::string name = folder_.path(continuous ? "run_0.ztjson" : "run.ztjson");
    std::ofstream(name) << "good";
    open(continuous);
    send(metric, kStart, elements);
    {
      const FullDisk full(100);
      if (continuous) {
        EXPECT_FALSE(writer_.flushContinuousResults(system_));
        EXPECT_FALSE(std::filesystem::exists(name + ".incomplete"));
      }
      EXPECT_EQ(writer_.closeOutput(), 1);
    }
    EXPECT_EQ(readFile(name), "good");
    EXPECT_EQ(readFile(name + ".incomplete").size(), 100U);
    EXPECT_NE(log_.errors().find(name + ".incomplete"), std::string::npos) << log_.errors();
    // Opened again it has nothing of the run before.
    open(continuous);
    EXPECT_EQ(continuous ? writer_.flushContinuousResults(system_) : true, true);
    EXPECT_EQ(writer_.closeOutput(), 0);
    EXPECT_NE(readFile(name).find(continuous ? R"("Data":[])" : R"("data":{})"), std::string::npos);
  }
}
#endif

TEST_F(JsonWriterTest, NumberedNamesHaveAtMost1023Bytes) {
  if (kIsWindows) GTEST_SKIP() << "names that long need another form there";
  const std::string folder = makeDeepFolder(folder_);
  const std::string ending = "_0.ztjson";
  const std::string longest = folder + std::string(1023 - folder.size() - ending.size(), 'n');
  EXPECT_FALSE(ContWriter(longest + "n").write(system_));
  EXPECT_TRUE(log_.errors().ends_with(
      ending + ": File name too long. Its points are kept for the next file.\n"));
  EXPECT_FALSE(std::filesystem::exists(longest + "n" + ending));
  EXPECT_TRUE(ContWriter(longest).write(system_));
  EXPECT_TRUE(std::filesystem::exists(longest + ending));
  // The trace of a whole run may have any name that the system accepts.
  EXPECT_EQ(writer_.openOutput(longest + "nnn", false), 0);
  EXPECT_EQ(writer_.closeOutput(), 0);
  EXPECT_TRUE(std::filesystem::exists(longest + "nnn.ztjson"));
}

TEST_F(JsonWriterTest, ANumberedFileForWhoseLinesThereIsNoMemoryIsWrittenLater) {
  open(true);
  send(pwr::createMetric({.name = "M"}), kStart, {{pwr::Data(1), descriptor("v"), nullptr, 2}});
  g_pluginEnvironment->enableDebugLoggingFor("continuous_writer");
  const auto log = std::make_shared<ScarceMemoryLog>();
  g_pluginEnvironment->setSinks(log, log);
  const std::string name = folder_.path("run_0.ztjson");
  for (const int lines : {0, 1}) {
    log->lines = lines;
    EXPECT_FALSE(writer_.flushContinuousResults(system_));
    EXPECT_FALSE(std::filesystem::exists(name));
  }
  EXPECT_NE(log->errors.find(name + ": Cannot allocate memory. Its points are kept"),
            std::string::npos);
  log->lines = 2;
  EXPECT_TRUE(writer_.flushContinuousResults(system_));
  EXPECT_NE(readFile(name).find(R"("Value":1.0})"), std::string::npos);
}

#if !defined(_WIN32)
TEST_F(JsonWriterTest, ADocumentForWhichThereIsNoMemoryIsAFailedOutput) {
  const auto* const metric = pwr::createMetric({.name = "M"});
  const std::vector<pwr::DataElement> sample(1000, {pwr::Data(1), descriptor("v"), nullptr, 2});
  open(true);
  for (int i = 0; i < 400; ++i) send(metric, kStart, sample);
  {
    const ScarceMemory scarce;
    EXPECT_FALSE(writer_.flushContinuousResults(system_));
  }
  EXPECT_NE(log_.errors().find(": Cannot allocate memory."), std::string::npos) << log_.errors();
  EXPECT_TRUE(writer_.flushContinuousResults(system_));
  EXPECT_EQ(writer_.closeOutput(), 0);
  EXPECT_GT(std::filesystem::file_size(folder_.path("run_0.ztjson")), 400000U * 60);
}

// A trace is never in memory as a whole.
TEST_F(JsonWriterTest, ATraceTakesTheMemoryOfItsLongestText) {
  const std::vector<pwr::DataElement> sample(1000, {pwr::Data(1), descriptor("v"), nullptr, 2});
  const std::string path = folder_.path("run.ztjson");
  for (const std::size_t length : {std::size_t{1}, std::size_t{2} << 20U}) {
    open(false);
    const auto* const metric = pwr::createMetric({.name = std::string(length, 'M')});
    for (int i = 0; i < 400; ++i) send(metric, kStart, sample);
    const ScarceMemory scarce;
    EXPECT_EQ(writer_.closeOutput(), length > 1 ? 1 : 0);
    EXPECT_FALSE(std::filesystem::exists(path + ".incomplete")) << "it would be empty";
  }
  EXPECT_GT(std::filesystem::file_size(path), 400000U * 20);
  EXPECT_NE(log_.errors().find(": Cannot allocate memory."), std::string::npos) << log_.errors();
}
#endif

}  // namespace
