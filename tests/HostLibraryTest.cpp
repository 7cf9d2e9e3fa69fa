// The host library: values and their texts, descriptions, logging, file outputs, the output
// configuration.

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <limits>

#include "CommaLocale.h"
#include "TestSupport.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/OutputConfigFile.h"
#include "writers/common/WriterLog.h"
#include "writers/host/HostFunctions.h"
#include "writers/host/Quantity.h"
#include "writers/host/RealFormatter.h"
#include "writers/host/TableMessage.h"
#include "writers/host/Tokenizer.h"
#include "writers/host/TopTree.h"
#include "writers/host/WriterInterfaceConfigFileParser.h"

using pwr::Data;
using pwr::DataType;

namespace {

constexpr auto kMaxInt = std::numeric_limits<long long>::max();
constexpr auto kMinInt = std::numeric_limits<long long>::min();
constexpr auto kMaxUInt = std::numeric_limits<unsigned long long>::max();

const pwr::DataHandle* const g_state =
    pwr::createHandle({.type = pwr::DataHandleType::State, .name = "C6"});

TEST(Data, TypesAndTexts) {
  const struct {
    Data value;
    int type;
    bool numeric;
    const char* whole;
    const char* formatted;
  } cases[] = {
      {Data(kMinInt), 1, true, "-9223372036854775808", "-9223372036854775808"},
      {Data(-5), 1, true, "-5", "-5"},
      {Data(kMaxUInt), 2, true, "18446744073709551615", "18446744073709551615"},
      {Data(7U), 2, true, "7", "7"},
      {Data(0.1), 3, true, "0.1", "0.10"},
      {Data(-std::nan("")), 3, true, "nan", "nan"},
      {Data(2.675), 3, true, "2.675", "2.67"},  // the nearest double lies below
      {Data(0.125), 3, true, "0.125", "0.12"},  // a tie goes to the even digit
      {Data(1e300), 3, true, "1e+300", nullptr},
      {Data(-0.0), 3, true, "-0", "-0.00"},
      {Data(HUGE_VAL), 3, true, "inf", "inf"},
      {Data(Data::IntPair(-1, 2)), 4, false, "-1 - 2", "-1 - 2"},
      {Data(Data::UIntPair(1, 2)), 5, false, "1 - 2", "1 - 2"},
      {Data(Data::RealPair(0.5, 2)), 6, false, "0.5 - 2", "0.50 - 2.00"},
      {Data(g_state), 7, false, "C6", "C6"},
      {Data("text"), 8, false, "text", "text"},
  };
  for (const auto& [value, type, numeric, whole, formatted] : cases) {
    SCOPED_TRACE(whole);
    std::string text;
    EXPECT_EQ(static_cast<int>(value.getType()), type);
    EXPECT_EQ(value.isNumeric(), numeric);
    EXPECT_EQ(value.toString(text), 0);
    EXPECT_EQ(text, whole);
    EXPECT_EQ(value.toFormattedString(text), 0);
    if (formatted != nullptr) {
      EXPECT_EQ(text, formatted);
    }
  }
  std::string untouched = "before";
  EXPECT_EQ(Data().toString(untouched), 1);
  EXPECT_EQ(Data().toFormattedString(untouched), 1);
  EXPECT_EQ(untouched, "before");
}

TEST(Data, ConversionsRefuseWhatDoesNotFit) {
  const struct {
    Data value;
    bool asInt, asUInt, asReal;
  } cases[] = {
      {Data(kMaxInt), true, true, true},
      {Data(-1), true, false, true},
      {Data(kMaxUInt), false, true, true},
      {Data(-9223372036854775808.0), true, false, true},
      {Data(9223372036854775808.0), false, true, true},
      {Data(18446744073709551616.0), false, false, true},
      {Data(-0.5), true, true, true},
      {Data(std::nan("")), false, false, true},
      {Data("5"), false, false, false},
      {Data(g_state), false, false, false},
      {Data(Data::UIntPair(1, 2)), false, false, false},
      {Data(), false, false, false},
  };
  int index = 0;
  for (const auto& expected : cases) {
    SCOPED_TRACE(index++);
    const Data& value = expected.value;
    long long signedValue = 77;
    unsigned long long unsignedValue = 77;
    double real = 77;
    EXPECT_EQ(value.toInt(signedValue) == 0, expected.asInt);
    EXPECT_EQ(value.toUInt(unsignedValue) == 0, expected.asUInt);
    EXPECT_EQ(value.toReal(real) == 0, expected.asReal);
    if (!expected.asInt) {
      EXPECT_EQ(signedValue, 77);
    }
    if (!expected.asUInt) {
      EXPECT_EQ(unsignedValue, 77U);
    }
    EXPECT_EQ(Data::convertToReal(&value).getType(),
              expected.asReal ? DataType::Real : DataType::None);
  }
  EXPECT_EQ(Data::convertToReal(nullptr).getType(), DataType::None);
}

TEST(Data, MultiplyValueMakesReals) {
  Data number(3U);
  EXPECT_EQ(number.multiplyValue(0.5), 0);
  EXPECT_EQ(number, Data(1.5));
  Data range(Data::IntPair(-2, 4));
  EXPECT_EQ(range.multiplyValue(0.5), 0);
  EXPECT_EQ(range, Data(Data::RealPair(-1.0, 2.0)));
  Data text("x");
  EXPECT_EQ(text.multiplyValue(2), 1);
  EXPECT_EQ(text, Data("x"));
}

TEST(Locale, NumbersKeepTheirPoint) {
  const CommaLocale locale;
  ASSERT_TRUE(locale.inForce());
  char proof[16];
  pw_snprintf(proof, sizeof proof, "%.1f", 1.5);
  ASSERT_STREQ(proof, "1,5") << "the locale is not in force";

  std::string text;
  pwr::RealFormatter(10, 3).format(text, Data(-1234.5678));
  EXPECT_EQ(text, " -1234.568");
  Data(1234567.891).toFormattedString(text);
  EXPECT_EQ(text, "1234567.89");
  Data(0.1).toString(text);
  EXPECT_EQ(text, "0.1");
  Data(1234567).toString(text);
  EXPECT_EQ(text, "1234567");
}

TEST(RealFormatter, RefusesWhatIsNoNumber) {
  std::string text = "before";
  EXPECT_EQ(pwr::RealFormatter(0, 2).format(text, Data("1")), 1);
  EXPECT_EQ(text, "before");
  EXPECT_EQ(pwr::RealFormatter(0, 0).format(text, Data(2.5)), 0);
  EXPECT_EQ(text, "2");
}

TEST(Descriptions, HaveIdsAndAreFound) {
  const pwr::Attribute* const first =
      pwr::Attribute::create("latency", nullptr, pwr::AttributeType::Info);
  const pwr::Attribute* const second =
      pwr::Attribute::create("latency", nullptr, pwr::AttributeType::Info);
  EXPECT_LT(0U, first->getId());
  EXPECT_LT(first->getId(), second->getId()) << "every creation has an id of its own";
  EXPECT_EQ(static_cast<int>(first->getAttributeType()), 5);

  pwr::DataDescriptorBuilder builder("C1", "first sleep state");
  builder.addAttributeValue(first, Data(2U));
  const pwr::DataDescriptor* const descriptor = pwr::DataDescriptor::create(builder);
  const pwr::DataHandle* found = nullptr;
  ASSERT_EQ(pwr::DataHandle::get(descriptor->getId(), found), 0);
  EXPECT_EQ(found, descriptor);
  EXPECT_EQ(found->getAttributes().begin()->second, Data(2U));
  EXPECT_EQ(pwr::DataHandle::get(kMaxUInt, found), 1);
  EXPECT_EQ(pwr::AttributeValueManager().addAttributeValue(nullptr, Data(1)), 1);

  const auto* const package = pwr::createEntity({.name = "Package0", .level = "Package"});
  const auto* const cpu = pwr::createEntity({.name = "CPU3", .level = "Thread", .parent = package});
  EXPECT_EQ(cpu->getQualifiedName(), "Package0/CPU3");

  const auto* const one = pwr::createMetric({.combinations = {{cpu, nullptr}, {cpu, descriptor}}});
  const auto* const two = pwr::createMetric({});
  EXPECT_LT(0U, one->id);
  EXPECT_EQ(one->id + 1, two->id);
  EXPECT_EQ(pwr::Metric(one).getEntityList(), std::vector<const pwr::EntityHandle*>{cpu});

  const auto* const watts = pwr::createQuantity({.units = "W"});
  const auto* const energy =
      pwr::createQuantity({.name = "Energy", .rate = watts, .rateFactor = 0.001});
  const pwr::Quantity* rate = nullptr;
  double factor = 0;
  EXPECT_EQ(energy->getRateConversion(rate, factor), 0);
  EXPECT_EQ(rate, watts);
  EXPECT_EQ(factor, 0.001);
  EXPECT_EQ(watts->getRateConversion(rate, factor), 1);
}

TEST(TopTree, ManyProcessorsTakeNoLongTime) {
  constexpr unsigned int kCpus = 20'000;
  pwr::TopTree topology;
  const std::clock_t begin = std::clock();
  for (unsigned int cpu = 0; cpu < kCpus; ++cpu) topology.addThread(cpu / 100, -1, cpu / 2, cpu);
  EXPECT_LT(std::clock() - begin, 3 * CLOCKS_PER_SEC);
  EXPECT_EQ(topology.getNumPackages(), kCpus / 100);
  EXPECT_EQ(topology.getNumCores(), kCpus / 2);
  EXPECT_EQ(topology.getNumThreads(), kCpus);
}

TEST(Descriptions, ChainsOfParentsMayBeLong) {
  constexpr std::size_t kParents = 300'000;
  const pwr::EntityHandle* last = nullptr;
  for (std::size_t i = 0; i <= kParents; ++i)
    last = pwr::createEntity({.name = "x", .parent = last});
  EXPECT_EQ(last->getQualifiedName().size(), 2 * kParents + 1);
}

TEST(Tokenizer, RunsOfDelimitersAreOne) {
  EXPECT_EQ(pwr::Tokenizer("..10.0..3.", ".").get_all_tokens(),
            (std::vector<std::string>{"10", "0", "3"}));
  EXPECT_TRUE(pwr::Tokenizer("", ".").get_all_tokens().empty());
}

TEST(Logging, AThresholdOrItsDebugSwitchShowsALine) {
  const LogCapture log;
  const WriterLog channel("text-writer-plugin");
  int evaluated = 0;
  const auto argument = [&evaluated] { return ++evaluated; };
  g_pluginEnvironment->setVerbosity(PW_LOG_WARNING);
  PW_LOG(channel, PW_LOG_INFO, "INFO: %d\n", argument());
  g_pluginEnvironment->enableDebugLoggingFor("iter");
  PW_LOG(channel, PW_LOG_INFO, "INFO: %d\n", argument());
  EXPECT_EQ(evaluated, 0) << "a line that is off costs no formatting";
  EXPECT_EQ(log.all(), "");
  PW_LOG(channel, PW_LOG_ERROR, "ERROR: %s\n", std::string(1000, 'x').c_str());
  EXPECT_EQ(log.errors(), "ERROR: " + std::string(1000, 'x') + "\n");
  PW_LOG(channel, PW_LOG_WARNING, "WARNING: %d\n", argument());
  g_pluginEnvironment->enableDebugLoggingFor("text-writer-plugin");
  PW_LOG(channel, PW_LOG_INFO, "INFO: %d\n", argument());
  EXPECT_EQ(log.general(), "WARNING: 1\nINFO: 2\n");
}

TEST(Logging, AProblemOfASeriesIsAWarningAndThenDebugLines) {
  const LogCapture log;
  const WriterLog channel("");
  g_pluginEnvironment->setVerbosity(PW_LOG_DEBUG);
  const char* const problem = "lost";
  const int series[] = {1, 2};
  ToldProblems told;
  for (const int* const one : {&series[0], &series[0], &series[1]}) {
    // The level is evaluated once, though it is needed twice.
    PW_LOG(channel, told.levelOf(problem, 1, one), "WARNING: %d\n", *one);
  }
  EXPECT_EQ(log.general(), "WARNING: 1\nDEBUG: 1\nWARNING: 2\n");
}

TEST(FileOutput, CarriesAnyByteAndReportsFailures) {
  const TempFolder folder;
  const std::string path = folder.path("out.bin");
  pwr::Logger* const handle = g_pluginEnvironment->getFileOutputHandle(path.c_str());
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(handle, g_pluginEnvironment->getFileOutputHandle(path.c_str()));
  EXPECT_EQ(handle->write("a\0b\n\xff", 5), 0);
  EXPECT_EQ(handle->flush() + handle->close(), 0);
  EXPECT_EQ(readFile(path), std::string("a\0b\n\xff", 5));
  EXPECT_EQ(g_pluginEnvironment->getFileOutputHandle(path.c_str())->close(), 0);
  EXPECT_EQ(readFile(path), "") << "a closed name starts a new file";

  EXPECT_EQ(g_pluginEnvironment->getFileOutputHandle("/no/such/folder/x"), nullptr);
  EXPECT_EQ(errno, ENOENT);
  if (kIsWindows) return;
  pwr::Logger* const full = g_pluginEnvironment->getFileOutputHandle("/dev/full");
  ASSERT_NE(full, nullptr);
  full->write("x", 1);
  EXPECT_EQ(full->flush(), 1);
  EXPECT_EQ(full->close(), 1) << "an earlier failure is not forgotten";
}

// Narrow tables and wide ones, whose cells are found in another way.
TEST(TableMessage, CellsAreFoundByTheirHandles) {
  for (const std::size_t width : {2U, 40U}) {
    pwr::TableDescription table;
    for (std::size_t i = 0; i < width; ++i) {
      table.sharedHandles.push_back(pwr::createColumn("S", nullptr));
      table.entities.push_back(pwr::createEntity({.name = "E"}));
      table.handles.push_back(pwr::createColumn("H", nullptr));
    }
    table.handles.push_back(table.handles[0]);  // counts where it stands first
    std::vector<Data> cells;
    for (std::size_t i = 0; i + 1 < table.cellsPerRow(); ++i) cells.emplace_back(i);
    const auto* const stranger = pwr::createColumn("X", nullptr);
    const auto description = std::make_shared<const pwr::TableDescription>(table);
    const pwr::TableMessage row(description, cells);
    const std::size_t last = width - 1;
    EXPECT_EQ(row.getField(nullptr, table.sharedHandles[last]), &row.getCells()[last]);
    EXPECT_EQ(row.getField(table.entities[last], table.handles[1]),
              &row.getCells()[width + last * (width + 1) + 1]);
    EXPECT_EQ(row.getField(table.entities[0], table.handles[0]), &row.getCells()[width]);
    EXPECT_EQ(row.getField(nullptr, table.handles[0]), nullptr) << "needs an entity";
    EXPECT_EQ(row.getField(table.entities[0], stranger), nullptr);
    EXPECT_EQ(row.getField(pwr::createEntity({.name = "X"}), table.handles[0]), nullptr);
    EXPECT_EQ(pwr::TableMessage(description).getField(nullptr, table.sharedHandles[0]), nullptr)
        << "has no row";
  }
}

TEST(OutputConfig, KeepsTheOrderOfTheFile) {
  const TempFolder folder;
  std::string error;
  std::deque<std::string> names;
  auto* const parser = WriterInterfaceConfigFileParser::instance();
  EXPECT_TRUE(parser->getFeatureOrder(names)) << "no file is normal";
  EXPECT_TRUE(names.empty());

  folder.write("a.toml",
               "feature-order = ['z', 'a']\n[[feature]]\nname = 'b'\nmetrics = ['2', '1']\n"
               "[[feature]]\nname = 'a'\n");
  ASSERT_EQ(pwr::loadOutputConfigFile(folder.path("a.toml"), error), 0) << error;
  EXPECT_TRUE(parser->getFeatureOrder(names));
  EXPECT_EQ(names, (std::deque<std::string>{"z", "a"}));
  EXPECT_TRUE(parser->getAllFeaturePrefixes(names));
  EXPECT_EQ(names, (std::deque<std::string>{"b", "a"}));
  EXPECT_TRUE(parser->getMetricOrderForFeature(names, "b"));
  EXPECT_EQ(names, (std::deque<std::string>{"2", "1"}));
  EXPECT_FALSE(parser->getMetricOrderForFeature(names, "z"));

  folder.write("empty.toml", "# nothing\n");
  ASSERT_EQ(pwr::loadOutputConfigFile(folder.path("empty.toml"), error), 0) << error;
  EXPECT_FALSE(parser->getFeatureOrder(names));
  EXPECT_FALSE(parser->getAllFeaturePrefixes(names));
}

TEST(OutputConfig, FaultsNameTheLine) {
  const TempFolder folder;
  const struct {
    const char* text;
    const char* place;
    const char* cause;
  } cases[] = {
      {"\nfeature-order = [\n'a'\n'b']\n", ":4: ", ""},
      {"feature-order = 'a'\n", ":1: ", "feature-order must be an array of strings"},
      {"\n\nfeature-order = [1]\n", ":3: ", "each of feature-order must be a string"},
      {"[[feature]]\nmetrics = []\n", ":1: ", "a [[feature]] needs a name"},
      {"[[feature]]\nname = 'x'\nmetric = []\n", ":3: ", "unknown entry 'metric'"},
      {"features = 1\n", ":1: ", "unknown entry 'features'"},
      {"[[feature]]\nname = 'x'\n\n[[feature]]\nname = 'x'\n",
       ":4: ", "a second [[feature]] with the name 'x' (the first one: line 1)"},
  };
  for (const auto& [text, place, cause] : cases) {
    SCOPED_TRACE(text);
    folder.write("bad.toml", text);
    std::string error;
    EXPECT_EQ(pwr::loadOutputConfigFile(folder.path("bad.toml"), error), 1);
    EXPECT_EQ(error.find(folder.path("bad.toml") + place), 0U) << error;
    EXPECT_NE(error.find(cause), std::string::npos) << error;
  }
  std::string error;
  EXPECT_EQ(pwr::loadOutputConfigFile("/no/such.toml", error), 1);
  EXPECT_EQ(error, "/no/such.toml: No such file or directory");
  std::string parts = "a";
  for (int i = 0; i < 400'000; ++i) parts += ".a";
  folder.write("deep.toml", parts + " = 1");
  for (const std::string& file : {folder.path("deep.toml"), std::string("/dev/zero")}) {
    EXPECT_EQ(pwr::loadOutputConfigFile(file, error), 1);
    EXPECT_EQ(error, file + ": this is no configuration file");
  }
}

TEST(CheckEnv, UnsetEmptyAndZeroAreOff) {
  const std::pair<const char*, bool> cases[] = {
      {"1", true}, {"yes", true}, {"", false}, {"0", false}};
  for (const auto& [value, on] : cases) {
    setEnvironment("PW_TEST_SWITCH", value);
    EXPECT_EQ(pwr::check_env("PW_TEST_SWITCH"), on) << value;
  }
  setEnvironment("PW_TEST_SWITCH", nullptr);
  EXPECT_FALSE(pwr::check_env("PW_TEST_SWITCH"));
}

}  // namespace
