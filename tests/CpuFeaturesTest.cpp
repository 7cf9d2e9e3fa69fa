// What CPUs tell beside their times: how well sleep states were chosen, frequencies, throttling.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "CollectSupport.h"
#include "hostcommon/Descriptions.h"
#include "tavrin/collect/OpenFile.h"

namespace tavrin {
namespace {

const std::string kCpu = "/sys/devices/system/cpu/";
const std::string kState = kCpu + "cpu0/cpuidle/state1/";
const std::string kPolicy0 = kCpu + "cpufreq/policy0/";
const std::string kPolicy1 = kCpu + "cpufreq/policy1/";
const std::string kCppc0 = kCpu + "cpu0/acpi_cppc/";
const std::string kCppc1 = kCpu + "cpu1/acpi_cppc/";
const std::string kThrottle0 = kCpu + "cpu0/thermal_throttle/";
const std::string kThrottle1 = kCpu + "cpu1/thermal_throttle/";
const std::string kCooling = "/sys/class/thermal/cooling_device";

/// Files of the folder with these names and texts.
FileTable within(const std::string& folder, const FileTable& files) {
  FileTable table;
  for (const auto& [name, text] : files) table[folder + name] = text;
  return table;
}

FileTable together(std::initializer_list<FileTable> tables) {
  FileTable all{{kCpu + "online", "0-1"}};
  for (const FileTable& table : tables) all.insert(table.begin(), table.end());
  return all;
}

FileTable idleState(const std::string& folder) {
  return within(folder, {{"name", "C1"},
                         {"desc", "light sleep"},
                         {"time", "1000"},
                         {"usage", "40"},
                         {"latency", "2"},
                         {"residency", "20"}});
}

std::vector<Scenario> sleepChoiceScenarios() {
  const auto pass = [&](const char* start, const char* length) {
    const std::string interval = std::string(start) + "+" + length + ": CPU0/C1=0\n";
    return "CPU C-State @" + interval + "CPU C-State Entries @" + interval;
  };
  return {
      {"wrong choices of a state: read every second, what is left is the remainder; an offline CPU "
       "and a count that began anew have gaps",
       "core-cstate",
       together({idleState(kState), within(kState, {{"above", "5"},
                                                    {"below", "1"},
                                                    {"rejected", "0"},
                                                    {"s2idle/usage", "3"},
                                                    {"s2idle/time", "100"}})}),
       {{0, {}, ""},
        {0.5, {{kState + "above", "9"}}, pass("0", "0.5")},
        {1,
         {{kState + "above", "15"}, {kState + "s2idle/time", "150"}},
         pass("0.5", "0.5") +
             "CPU C-State Too Deep @0+1: CPU0/C1=10\nCPU C-State Too Shallow @0+1: CPU0/C1=0\n"
             "CPU C-State Refusals @0+1: CPU0/C1=0\nCPU C-State Entries in Suspend @0+1: "
             "CPU0/C1=0\n"
             "CPU C-State Time in Suspend @0+1: CPU0/C1=50\n"},
        {2, {{kCpu + "online", "1"}, {kState + "above", "20"}}, ""},
        {3, {{kCpu + "online", "0-1"}}, ""},
        {4,
         {{kState + "above", "3"},
          {kState + "rejected", "2"},
          {kState + "s2idle/usage", "x"},
          {kState + "s2idle/time", "-5"}},
         pass("3", "1") + "CPU C-State Too Shallow @3+1: CPU0/C1=0\n"
                          "CPU C-State Refusals @3+1: CPU0/C1=2\n"},
        {4.5, {{kState + "above", "4"}, {kState + "s2idle/usage", "9"}}, pass("4", "0.5")}},
       "CPU C-State Too Deep: CPU0/C1=1\n"},
      {"wrong choices of a run shorter than a second: all are the remainder, none of them too",
       "core-cstate",
       together({idleState(kState), within(kState, {{"above", "5"}, {"below", "1"}})}),
       {{0, {}, ""}, {0.5, {{kState + "above", "9"}}, pass("0", "0.5")}},
       "CPU C-State Too Deep: CPU0/C1=4\nCPU C-State Too Shallow: CPU0/C1=0\n"},
  };
}

std::vector<Scenario> frequencyScenarios() {
  return {
      {"time at frequencies: jiffies never exceed the time; a table that is gone, other or "
       "restarted "
       "is a gap",
       "cpu-freq",
       together({within(kPolicy0, {{"affected_cpus", "0"},
                                   {"stats/time_in_state", "800000 100\n2400500 20\n"}}),
                 within(kPolicy1, {{"affected_cpus", "1"},
                                   {"scaling_cur_freq", "800000"},
                                   {"stats/time_in_state", "\n"}})}),
       {{0, {}, ""},
        {1,
         {{kPolicy0 + "stats/time_in_state", "800000 150\n2400500 71\n"}},
         "CPU Frequency @0+1: Policy1 (CPU1)/Frequency=800\nCPU Frequency Time @0+1: Policy0 "
         "(CPU0)/800 MHz=495.049504 Policy0 (CPU0)/2400.5 MHz=504.950496\n"},
        {2,
         {{kPolicy0 + "stats/time_in_state", "800000 150\n"},
          {kPolicy1 + "scaling_cur_freq", kGone}},
         "CPU Frequency @1+1: Policy1 (CPU1)/Frequency=800\n"},
        {3, {{kPolicy0 + "stats/time_in_state", "800000 150\n2400500 99\n"}}, ""},
        {4,
         {{kPolicy0 + "stats/time_in_state", "800000 160\n2400500 99\n"}},
         "CPU Frequency Time @3+1: Policy0 (CPU0)/800 MHz=100 Policy0 (CPU0)/2400.5 MHz=0\n"},
        {5, {{kPolicy0 + "stats/time_in_state", "800000 5\n2400500 99\n"}}, ""},
        {6, {{kPolicy0 + "stats/time_in_state", "900000 5\n2400500 99\n"}}, ""}}},
  };
}

std::vector<Scenario> performanceScenarios() {
  const auto counters = [](const std::string& reference, const std::string& delivered) {
    return "ref:" + reference + " del:" + delivered + "\n";
  };
  const FileTable facts{
      {"reference_perf", "20"}, {"nominal_perf", "25"}, {"wraparound_time", "100"}};
  return {
      {"delivered performance: of the nominal one; wraps that the time allows, restarts, CPUs that "
       "did not run",
       "cpu-freq",
       together({within(kCppc0, facts),
                 within(kCppc1, facts),
                 {{kCppc0 + "feedback_ctrs", counters("1000", "4000000000")},
                  {kCppc1 + "feedback_ctrs", counters("1000", "5000000000")},
                  {kCpu + "cpu2/acpi_cppc/feedback_ctrs", counters("1", "1")},
                  {kCpu + "cpu2/acpi_cppc/reference_perf", "20"}}}),
       {{0, {}, ""},
        {10,
         {{kCppc0 + "feedback_ctrs", counters("200001000", "4150000000")},
          {kCppc1 + "feedback_ctrs", counters("2000", "5000002000")}},
         "CPU Performance @0+10: CPU0/Delivered=60 CPU1/Delivered=160\n"},
        {20,
         {{kCppc0 + "feedback_ctrs", counters("400001000", "55032704")},
          {kCppc1 + "feedback_ctrs", counters("2000", "5000002000")}},
         "CPU Performance @10+10: CPU0/Delivered=80\n"},
        {30,
         {{kCppc0 + "feedback_ctrs", counters("400002000", "55032703")},
          {kCppc1 + "feedback_ctrs", counters("3000", "1")}},
         ""},
        {40,
         {{kCppc0 + "feedback_ctrs", "ref:400003000"},
          {kCppc1 + "feedback_ctrs", counters("3000", "9")}},
         ""},
        {200, {{kCppc1 + "feedback_ctrs", counters("4000", "1009")}}, ""}}},
  };
}

std::vector<Scenario> throttleScenarios() {
  return {
      {"throttling: cores by their CPUs, a package once; states of cooling devices when they "
       "change",
       "throttle",
       together(
           {within(kThrottle0, {{"core_throttle_count", "4"}, {"package_throttle_count", "9"}}),
            within(kThrottle1, {{"core_throttle_count", "7"}, {"package_throttle_count", "9"}}),
            within(kCooling + "0/",
                   {{"type", "Processor"}, {"max_state", "3"}, {"cur_state", "0"}}),
            within(kCooling + "2/", {{"max_state", "10"}, {"cur_state", "1"}}),
            within(kCooling + "3/", {{"type", "Fan"}, {"max_state", "1"}, {"cur_state", ""}})}),
       {{0, {}, ""},
        {1,
         {{kThrottle0 + "core_throttle_count", "6"},
          {kThrottle0 + "package_throttle_count", "10"},
          {kThrottle1 + "core_throttle_count", kGone},
          {kCooling + "0/cur_state", "2"}},
         "Thermal Throttling @0+1: CPU0/slowdowns=2 Package0/slowdowns=1\n"
         "Cooling @0+0: Processor (cooling_device0)/State=0 cooling_device2/State=1\n"},
        {1.5, {}, "Cooling @1+0: Processor (cooling_device0)/State=2\n"},
        {2.5,
         {{kThrottle1 + "core_throttle_count", "8"}, {kCooling + "0/cur_state", kGone}},
         "Thermal Throttling @1+1.5: CPU0/slowdowns=0 Package0/slowdowns=0\n"},
        {3,
         {{kCooling + "0/cur_state", "2"}, {kThrottle1 + "core_throttle_count", "11"}},
         "Cooling @2.5+0: Processor (cooling_device0)/State=unknown\n"},
        {3.25, {}, "Cooling @3+0: Processor (cooling_device0)/State=2\n"}},
       "Thermal Throttling: CPU1/slowdowns=3\n"},
  };
}

TEST(CpuFeaturesTest, Scenarios) {
  for (const auto& scenarios : {sleepChoiceScenarios(), frequencyScenarios(),
                                performanceScenarios(), throttleScenarios()}) {
    play(scenarios);
  }
}

TEST(CpuFeaturesTest, AbsentFeaturesTellWhy) {
  const FileTable files{{kPolicy0 + "stats/time_in_state", ""},
                        {kCppc0 + "feedback_ctrs", "ref:1 del:1"}};
  const SysTree tree(files);
  EXPECT_EQ(FeatureDriver("cpu-freq", tree).reason(),
            "no readable frequency policies below /sys/devices/system/cpu/cpufreq");
  EXPECT_EQ(FeatureDriver("throttle", tree).reason(),
            "no counts (thermal_throttle) below /sys/devices/system/cpu, no cooling devices below "
            "/sys/class/thermal");
}

TEST(CpuFeaturesTest, MoreFilesThanMayBeOpenAreReadAllTheSame) {
  const rlimit limit{.rlim_cur = 64, .rlim_max = 64};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  const SysTree tree(FileTable{{"/number", "5\n"}});
  const SysRoot root(tree.folder());
  std::vector<OpenFile> files;
  files.reserve(100);
  for (int i = 0; i < 40; ++i) files.emplace_back(root.path("/number"));
  const auto readAll = [&](unsigned long long expected) {
    for (OpenFile& file : files) {
      unsigned long long number = 0;
      ASSERT_EQ(file.readNumber(number), 0);
      ASSERT_EQ(number, expected);
    }
  };
  readAll(5);
  EXPECT_EQ(OpenFile::countBeyondLimit(), 0U);
  for (int i = 0; i < 60; ++i) files.emplace_back(root.path("/number"));
  readAll(5);
  EXPECT_EQ(OpenFile::countBeyondLimit(), 52U);
  tree.write("/number", "6\n");
  readAll(6);
}

/// Of processors with cores of two kinds.
TEST(CpuFeaturesTest, StatesThatDifferHaveDescriptorsOfTheirOwn) {
  FileTable files = together({idleState(kState), idleState(kCpu + "cpu1/cpuidle/state1/"),
                              idleState(kCpu + "cpu2/cpuidle/state1/")});
  files[kCpu + "online"] = "0-2";
  files[kCpu + "cpu2/cpuidle/state1/latency"] = "9";
  const SysTree tree(files);
  const FeatureDriver driver("core-cstate", tree);
  const pwr::MetricDescription& metric = *driver.feature().metrics().front();
  ASSERT_EQ(metric.combinations.size(), 3U);
  EXPECT_EQ(metric.combinations[0].descriptor, metric.combinations[1].descriptor);
  EXPECT_EQ(metric.combinations[2].descriptor->getName(), "C1 (latency 9 us, residency 20 us)");
  std::string attributes;
  for (const auto& [attribute, value] : metric.combinations[0].descriptor->getAttributes()) {
    std::string text;
    value.toString(text);
    attributes +=
        attribute->getName() + " " + text + attribute->getQuantity()->toUnitsString() + " ";
  }
  EXPECT_EQ(attributes, "Exit Latency 2us Target Residency 20us ");
  EXPECT_EQ(metric.descriptorGroup->getExpectedAttributes().getAttributeCount(), 2U);
}

}  // namespace
}  // namespace tavrin
