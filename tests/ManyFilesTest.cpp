// More files than may be open: what is read by turns loses nothing.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cmath>
#include <set>

#include "CollectSupport.h"
#include "tavrin/collect/CpuCounters.h"
#include "tavrin/collect/Turns.h"

namespace tavrin {
namespace {

const std::string kCpu = "/sys/devices/system/cpu/";

void allowFiles(rlim_t count) {
  const rlimit limit{.rlim_cur = count, .rlim_max = count};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
}

/// Gives `count` folders `prefix` + N + `suffix` the files of the folder "/shared".
void share(const SysTree& tree, const std::string& prefix, const std::string& suffix, int count) {
  for (int i = 0; i < count; ++i) {
    std::string name = tree.folder();
    name.append(prefix).append(std::to_string(i)).append(suffix);
    const std::filesystem::path link = name;
    std::filesystem::create_directories(link.parent_path());
    std::filesystem::create_directory_symlink(tree.folder() + "/shared", link);
  }
}

std::string onlineUpTo(int count) {
  return "0-" + std::to_string(count - 1);
}

/// What came of one series, whose intervals must follow each other.
struct Series {
  unsigned long long end = 0;  // ticks
  double sum = 0;
  int samples = 0;

  void add(unsigned long long start, const pwr::DataElement& element) {
    EXPECT_EQ(start, end);
    double value = 0;
    EXPECT_EQ(element.getValue()->toReal(value), 0);
    end = start + element.getDuration();
    sum += value;
    ++samples;
  }
};

using SeriesByName = std::map<std::string, Series>;

/// Takes a pass. Returns how many values it has of the metric.
std::size_t take(FeatureDriver& driver, double seconds, const std::string& name,
                 SeriesByName& series) {
  std::size_t values = 0;
  for (const pwr::Metric& metric : driver.messages(seconds)) {
    if (metric.getName() != name) continue;
    for (const pwr::DataElement& element : metric.getData().elements) {
      series[element.getEntity()->getName()].add(metric.getData().timestamp, element);
      ++values;
    }
  }
  return values;
}

TEST(ManyFiles, SleepStatesAreReadByTurnsAndLoseNothing) {
  constexpr int kCpus = 900;
  constexpr int kPasses = 12;
  const SysTree tree({{kCpu + "online", onlineUpTo(kCpus)},
                      {"/shared/state1/name", "C1"},
                      {"/shared/state1/usage", "1"},
                      {"/shared/state1/time", "5000"}});
  share(tree, kCpu + "cpu", "/cpuidle", kCpus);
  allowFiles(64);
  FeatureDriver driver("core-cstate", tree);
  ASSERT_EQ(driver.reason(), "");
  EXPECT_GT(OpenFile::countBeyondLimit(), 1700U);
  SeriesByName series;
  for (int pass = 0; pass <= kPasses; ++pass) {
    tree.write("/shared/state1/time", std::to_string(5000 + 50'000 * pass));
    if (pass == kPasses) driver.expectLast();
    const std::size_t values = take(driver, pass * 0.1, "CPU C-State", series);
    if (pass == 0) {
      EXPECT_EQ(values, 0U);
    } else if (pass < kPasses) {
      EXPECT_NEAR(static_cast<double>(values), 500.0 + 24.0, 30.0) << "a thousand files";
    }
  }
  ASSERT_EQ(series.size(), std::size_t{kCpus});
  std::set<int> samples;
  for (const auto& [cpu, one] : series) {
    EXPECT_EQ(one.end, 1'200'000'000U) << cpu;
    EXPECT_EQ(one.sum, 0.6e9) << cpu << " was asleep half of the time";
    samples.insert(one.samples);
  }
  EXPECT_GE(*samples.begin(), 6) << "half of the others have a turn in each pass";
  EXPECT_EQ(*samples.rbegin(), kPasses) << "those whose files stay open have every pass";
  EXPECT_EQ(driver.remainder(), "");
}

TEST(ManyFiles, AGaugeStandsForTheTimeUntilItsNextTurn) {
  constexpr int kZones = 1500;
  const SysTree tree(FileTable{{"/shared/temp", "20000"}});
  share(tree, "/sys/class/thermal/thermal_zone", "", kZones);
  allowFiles(64);
  FeatureDriver driver("thermal", tree);
  SeriesByName series;
  for (int pass = 0; pass <= 6; ++pass) {
    if (pass == 6) driver.expectLast();
    take(driver, pass, "Temperature", series);
    tree.write("/shared/temp", "30000");
  }
  ASSERT_EQ(series.size(), std::size_t{kZones});
  for (const auto& [zone, one] : series) {
    EXPECT_EQ(one.end, 6'000'000'000U) << zone;
    EXPECT_EQ(one.sum, 20.0 + 30.0 * (one.samples - 1)) << zone;
    EXPECT_GE(one.samples, 4) << zone;
  }
}

TEST(ManyFiles, RareCountersWaitWhereTheyAreVeryMany) {
  constexpr int kCpus = 450;
  const SysTree tree({{kCpu + "online", onlineUpTo(kCpus)}, {"/shared/core_throttle_count", "7"}});
  share(tree, kCpu + "cpu", "/thermal_throttle", kCpus);
  FeatureDriver driver("throttle", tree);
  ASSERT_EQ(driver.reason(), "");
  SeriesByName series;
  std::vector<std::size_t> values;
  for (int pass = 0; pass <= 13; ++pass) {
    tree.write("/shared/core_throttle_count", std::to_string(7 + pass));
    values.push_back(take(driver, pass * 0.1, "Thermal Throttling", series));
  }
  EXPECT_EQ(values, (std::vector<std::size_t>{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 200, 200, 50, 0}));
  double sum = 0;
  for (const auto& [cpu, one] : series) sum += one.sum;
  EXPECT_EQ(sum, 200 * 10 + 200 * 11 + 50 * 12);
}

TEST(Turns, ComeRoundInOrderAndNotTooOften) {
  Turns turns;
  const auto pass = [&](unsigned long long milliseconds) {
    turns.beginPass(milliseconds * 1'000'000);
    std::string taken;
    for (const char name : {'a', 'b', 'c', 'd', 'e'}) {
      if (turns.isNext(Turns::kMostFiles / 2)) taken += name;
    }
    return taken;
  };
  EXPECT_EQ(pass(0), "abcde") << "the first readings";
  EXPECT_EQ(pass(100), "ab");
  EXPECT_EQ(pass(110), "") << "too soon";
  EXPECT_EQ(pass(200), "cd");
  EXPECT_EQ(pass(300), "ae");
  EXPECT_EQ(pass(400), "bc");
  turns.takeAll();
  EXPECT_EQ(pass(401), "abcde");
}

}  // namespace
}  // namespace tavrin
