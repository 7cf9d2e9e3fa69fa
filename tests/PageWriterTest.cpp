// The writer of pages: values and texts that the command never delivers, times that are far away,
// disks that fill up at any place. What is in the pages is read back by page_test.py.

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <limits>
#include <set>

#include "TestSupport.h"
#include "exporters/html/HtmlWriter.h"
#include "exporters/html/PointLog.h"
#include "hostcommon/Descriptions.h"
#include "hostcommon/WriterDispatch.h"

namespace {

namespace fs = std::filesystem;
using pwr::Data;

constexpr unsigned long long kStart = 1'000'000'000;

class PageWriterTest : public testing::Test {
 protected:
  PageWriterTest() {
    system_.edit().timestampClockFrequencyMHz = 1000;
    system_.edit().collectionStartTimestamp = kStart;
    system_.edit().collectionStopTimestamp = 2 * kStart;
  }

  const pwr::MetricDescription* describe(pwr::Metric::MetricType type,
                                         const std::string& name = "Metric") {
    return pwr::createMetric({.name = name, .type = type, .combinations = {{cpu_, nullptr}}});
  }
  void open(const char* option = nullptr) {
    if (option != nullptr) writer_.handleBroadcastOption(option);
    ASSERT_EQ(writer_.openOutput(folder_.path("run"), false), 0);
    WriterDispatch::write(writer_, pwr::SystemMessage(&system_));
  }
  void send(const pwr::MetricDescription* metric, unsigned long long time, const Data& value,
            unsigned long long length) {
    pwr::Metric message(metric);
    message.editData() = {time, {{value, nullptr, cpu_, length}}};
    EXPECT_EQ(WriterDispatch::write(writer_, message), 0);
  }
  /// The document of the page.
  rapidjson::Document close() {
    EXPECT_EQ(writer_.closeOutput(), 0) << log_.all();
    const std::string page = readFile(folder_.path("run.html"));
    const std::string_view begin = "id=\"run\">";
    const std::size_t from = page.find(begin) + begin.size();
    rapidjson::Document run;
    run.Parse(page.substr(from, page.find("</script>", from) - from).c_str());
    EXPECT_FALSE(run.HasParseError());
    return run;
  }
  static std::vector<std::string> warnings(const rapidjson::Document& run) {
    std::vector<std::string> lines;
    for (const auto& line : run["warnings"].GetArray()) lines.emplace_back(line.GetString());
    return lines;
  }

  const pwr::EntityHandle* const cpu_ = pwr::createEntity({.name = "CPU0", .level = "Thread"});
  TempFolder folder_;
  LogCapture log_;
  pwr::SystemMetadata system_;
  HtmlWriter writer_;
};

TEST_F(PageWriterTest, ValuesAndTimesThatCannotBeToldAreCounted) {
  open();
  const auto* const metric = describe(pwr::Metric::MetricType::SampledValue);
  for (const double value : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1.5}) {
    send(metric, kStart, Data(value), 10);
  }
  send(metric, kStart, Data(), 10);
  send(metric, kStart, Data(Data::RealPair(1.0, HUGE_VAL)), 10);
  send(metric, std::numeric_limits<unsigned long long>::max(), Data(1), 10);
  send(metric, kStart, Data(1), 1ULL << 60U);
  const auto run = close();
  EXPECT_EQ(warnings(run),
            (std::vector<std::string>{
                "Values that are left out, because they are not finite: 4",
                "Values that are left out, because their times are too far away: 2"}));
  ASSERT_EQ(run["series"].Size(), 1U);
  EXPECT_EQ(run["series"][0]["points"].GetInt(), 1);
  EXPECT_EQ(run["series"][0]["mean"].GetDouble(), 1.5);
}

TEST_F(PageWriterTest, LargeIntegersAreTheNearestReals) {
  open();
  const auto* const metric = describe(pwr::Metric::MetricType::SampledDelta);
  send(metric, kStart, Data(std::numeric_limits<unsigned long long>::max()), kStart);
  const auto run = close();
  const auto& series = run["series"][0];
  EXPECT_STREQ(series["unit"].GetString(), "/s");
  EXPECT_EQ(series["sum"].GetDouble(), 0x1p64);
  EXPECT_EQ(series["maximum"].GetDouble(), 0x1p64);
  EXPECT_STREQ(series["data"]["value"]["type"].GetString(), "f64");
}

TEST_F(PageWriterTest, BytesThatAreNoTextAreReplaced) {
  system_.edit().hostName = "a\xFF\xC3\xE2\x28z";
  open();
  send(describe(pwr::Metric::MetricType::SampledValue, "m\xF0\x9F"), kStart, Data(1), 1);
  const auto run = close();
  EXPECT_STREQ(run["title"].GetString(), "a\uFFFD\uFFFD\uFFFD(z");
  EXPECT_STREQ(run["series"][0]["metric"].GetString(), "m\uFFFD\uFFFD");
}

// One time that is far from all others must not make the bins of the others useless.
TEST_F(PageWriterTest, OneFarTimeCostsNoResolution) {
  for (const bool isFirst : {true, false}) {
    system_.edit().collectionStopTimestamp = 0;
    open("--page-size=10000");  // so that few points are too many
    const auto* const metric = describe(pwr::Metric::MetricType::SampledValue);
    if (isFirst) send(metric, kStart + (1ULL << 50U), Data(7), 1000);
    constexpr unsigned long long kPoints = 40'000;
    for (unsigned long long n = 0; n < kPoints; ++n) {
      send(metric, kStart + n * 1000, Data(static_cast<double>(n)), 1000);
      if (!isFirst && n == kPoints / 2) send(metric, kStart + (1ULL << 50U), Data(7), 1000);
    }
    system_.edit().collectionStopTimestamp = kStart + kPoints * 1000;
    const auto run = close();
    EXPECT_STREQ(run["data"]["mode"].GetString(), "binned");
    EXPECT_LE(run["data"]["levels"][0]["binSec"].GetDouble(), kPoints * 1e-6 / 4);
    EXPECT_EQ(std::ranges::count(
                  warnings(run),
                  "Points that are not in the picture, because they are behind its end: 1"),
              1);
  }
}

// Each of them would take as long as all bins together.
TEST_F(PageWriterTest, PointsThatOverlapAreShortened) {
  open("--page-size=10000");
  const auto* const metric = describe(pwr::Metric::MetricType::SampledValue);
  for (unsigned long long n = 0; n < 40'000; ++n) {
    send(metric, kStart + n * 1000, Data(static_cast<double>(n)), kStart);
  }
  const auto run = close();
  const auto lines = warnings(run);
  EXPECT_TRUE(std::ranges::any_of(lines, [](const std::string& line) {
    return line.starts_with("Points that are shortened");
  }));
}

TEST_F(PageWriterTest, PointsComeBackFromTheLogInTheOrderOfTheirStarts) {
  PointLog log;
  const std::vector<double> ticks{0.0, 5.0, 0.5};
  const double values[] = {0.0, -0.0, -1.0, 0x1p53, 1e300, 5e-324, 0.1, 255.0, -0x1p51};
  long long start = 1LL << 50U;
  for (const double value : values) {
    log.append({.start = start, .length = start & 0xFFF, .value = value});
    start = -start / 2;
  }
  log.append({.start = 3, .length = kMostTicks, .ticks = ticks});
  log.sort();
  std::multiset<std::string> found;
  long long last = std::numeric_limits<long long>::min();
  log.forEach([&](const PagePoint& point) {
    EXPECT_LE(last, point.start);
    last = point.start;
    std::string text = std::to_string(point.ticks.size());
    if (point.ticks.empty()) Data(point.value).toString(text);
    found.insert(text);
  });
  std::multiset<std::string> wanted{"3"};
  for (const double value : values) {
    std::string text;
    Data(value).toString(text);
    wanted.insert(text);
  }
  EXPECT_EQ(found, wanted);
}

#if !defined(_WIN32)

TEST_F(PageWriterTest, AWriteThatFailsAnywhereLeavesNoPage) {
  const auto* const metric = describe(pwr::Metric::MetricType::SampledValue);
  const auto record = [&] {
    open();
    send(metric, kStart, Data(1), 10);
    return writer_.closeOutput();
  };
  ASSERT_EQ(record(), 0);
  const auto size = fs::file_size(folder_.path("run.html"));
  const std::string good = readFile(folder_.path("run.html"));
  for (const std::uintmax_t room : {std::uintmax_t{1}, size / 3, size / 2, size - 1, size}) {
    const FullDisk full(static_cast<rlim_t>(room));
    EXPECT_EQ(record(), room == size ? 0 : 1) << room;
    EXPECT_EQ(readFile(folder_.path("run.html")), good);
    EXPECT_EQ(fs::exists(folder_.path("run.html.incomplete")), room != size);
    fs::remove(folder_.path("run.html.incomplete"));
  }
}

#endif

}  // namespace
