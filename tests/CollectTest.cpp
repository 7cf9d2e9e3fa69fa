#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <numeric>
#include <random>
#include <tuple>

#include "CollectSupport.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/ResidencyCarry.h"
#include "tavrin/collect/SystemProbe.h"

namespace tavrin {
namespace {

using Ticks = std::vector<unsigned long long>;

unsigned long long sum(const Ticks& ticks) {
  return std::accumulate(ticks.begin(), ticks.end(), 0ULL);
}

/// CPUs of one package with the sleep states C1 and C6 and with a /proc/stat.
FileTable idleTree(unsigned int cpus) {
  FileTable files{{"/sys/devices/system/cpu/online", "0-" + std::to_string(cpus - 1) + "\n"}};
  for (unsigned int cpu = 0; cpu < cpus; ++cpu) {
    const std::string folder = "/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/cpuidle/";
    for (const auto& [state, name] : {std::pair{"state0/", "C1\n"}, {"state1/", "C6\n"}}) {
      files[folder + state + "name"] = name;
      files[folder + state + "time"] = "500000000\n";
      files[folder + state + "usage"] = "40\n";
    }
  }
  return files;
}

const std::string kOnline = "/sys/devices/system/cpu/online";
const std::string kIdle0 = "/sys/devices/system/cpu/cpu0/cpuidle/";
const std::string kIdle1 = "/sys/devices/system/cpu/cpu1/cpuidle/";
const std::string kPolicy = "/sys/devices/system/cpu/cpufreq/policy";
const std::string kZone = "/sys/class/thermal/thermal_zone";
const std::string kMonitor = "/sys/class/hwmon/hwmon";
const std::string kPower = "/sys/class/powercap/";

std::string statText(const std::string& cpu0, const std::string& cpu1, const std::string& counts) {
  return "cpu  9 9 9 9 9 9 9 9 0 0\ncpu0 " + cpu0 + " 0 0\n" +
         (cpu1.empty() ? "" : "cpu1 " + cpu1 + " 0 0\n") + counts + "softirq 1 2 3\n";
}

std::vector<Scenario> sleepScenarios() {
  FileTable sleepyCpu1 = idleTree(2);
  std::erase_if(sleepyCpu1, [](const auto& file) { return file.first.starts_with(kIdle0); });
  return {
      {"an offline CPU whose counters stay readable has a gap; of the sleep before it, what the "
       "gap "
       "cannot hold is in the remainder",
       "core-cstate",
       sleepyCpu1,
       {{0, {}, ""},
        {2,
         {},
         "CPU C-State @0+2: CPU1/C1=0 CPU1/C6=0\n"
         "CPU C-State Entries @0+2: CPU1/C1=0 CPU1/C6=0\n"},
        {3, {{kOnline, "0"}, {kIdle1 + "state1/time", "502700000"}}, ""},
        {4, {}, ""},
        {5, {{kOnline, "0-1"}}, ""},
        {6,
         {{kIdle1 + "state1/time", "503200000"}},
         "CPU C-State @5+1: CPU1/C1=0 CPU1/C6=500\n"
         "CPU C-State Entries @5+1: CPU1/C1=0 CPU1/C6=0\n"}},
       "CPU C-State: CPU1/C6=1700\n"},
      {"a sleep that began before the collection: counted from its start, over the intervals in "
       "which it can have happened",
       "core-cstate",
       idleTree(1),
       {{10, {}, ""},
        {11,
         {},
         "CPU C-State @10+1: CPU0/C1=0 CPU0/C6=0\nCPU C-State Entries @10+1: CPU0/C1=0 "
         "CPU0/C6=0\n"},
        {12,
         {{kIdle0 + "state1/time", "509000000"}, {kIdle0 + "state1/usage", "41"}},
         "CPU C-State @11+1: CPU0/C1=0 CPU0/C6=1000\n"
         "CPU C-State Entries @11+1: CPU0/C1=0 CPU0/C6=1\n"},
        {12.5,
         {{kIdle0 + "state0/time", "500250000"}},
         "CPU C-State @12+0.5: CPU0/C1=100 CPU0/C6=400\n"
         "CPU C-State Entries @12+0.5: CPU0/C1=0 CPU0/C6=0\n"},
        {14,
         {},
         "CPU C-State @12.5+1.5: CPU0/C1=150 CPU0/C6=600\n"
         "CPU C-State Entries @12.5+1.5: CPU0/C1=0 CPU0/C6=0\n"}}},
      {"a CPU that goes offline has a gap and starts again, with the time from then on; the other "
       "goes on",
       "core-cstate",
       idleTree(2),
       {{0, {}, ""},
        {1,
         {{kIdle0 + "state0/time", "500300000"}, {kIdle1 + "state0/time", "500400000"}},
         "CPU C-State @0+1: CPU0/C1=300 CPU0/C6=0 CPU1/C1=400 CPU1/C6=0\n"
         "CPU C-State Entries @0+1: CPU0/C1=0 CPU0/C6=0 CPU1/C1=0 CPU1/C6=0\n"},
        {2,
         {{kIdle1 + "state1/time", kGone}},
         "CPU C-State @1+1: CPU0/C1=0 CPU0/C6=0\nCPU C-State Entries @1+1: CPU0/C1=0 CPU0/C6=0\n"},
        {3,
         {{kIdle1 + "state1/time", "503000000"}},
         "CPU C-State @2+1: CPU0/C1=0 CPU0/C6=0\nCPU C-State Entries @2+1: CPU0/C1=0 CPU0/C6=0\n"},
        {4,
         {{kIdle0 + "state0/time", "7"}, {kIdle1 + "state1/time", "508000000"}},
         "CPU C-State @3+1: CPU1/C1=0 CPU1/C6=1000\nCPU C-State Entries @3+1: CPU1/C1=0 "
         "CPU1/C6=0\n"},
        {5,
         {{kIdle0 + "state0/time", "50007"}},
         "CPU C-State @4+1: CPU0/C1=50 CPU0/C6=0 CPU1/C1=0 CPU1/C6=0\n"
         "CPU C-State Entries @4+1: CPU0/C1=0 CPU0/C6=0 CPU1/C1=0 CPU1/C6=0\n"}},
       "CPU C-State: CPU1/C6=600\n"},
  };
}

std::vector<Scenario> cpuTimeScenarios() {
  return {
      {"jiffies: two in an interval that holds one; iowait and idle may run back; CPU1 goes "
       "offline",
       "cpu-time",
       {{"/sys/devices/system/cpu/online", "0-1"},
        {"/proc/stat", statText("10 0 5 100 50 0 0 0", "0 0 0 0 0 0 0 0", "")}},
       {{1, {}, ""},
        {1.01,
         {{"/proc/stat", statText("12 0 5 100 50 0 0 0", "0 1 0 0 0 0 0 0", "")}},
         "CPU Time @1+0.01: CPU0/user=10 CPU0/nice=0 CPU0/system=0 CPU0/idle=0 CPU0/iowait=0 "
         "CPU0/irq=0 CPU0/softirq=0 CPU0/steal=0 CPU1/user=0 CPU1/nice=10 CPU1/system=0 "
         "CPU1/idle=0 CPU1/iowait=0 CPU1/irq=0 CPU1/softirq=0 CPU1/steal=0\n"},
        {1.05,
         {{"/proc/stat", statText("12 0 6 101 48 0 0 1", "", "")}},
         "CPU Time @1.01+0.04: CPU0/user=0 CPU0/nice=0 CPU0/system=10 CPU0/idle=10 CPU0/iowait=0 "
         "CPU0/irq=0 CPU0/softirq=0 CPU0/steal=10\n"},
        {1.06, {{"/proc/stat", kGone}}, ""},
        {1.07, {{"/proc/stat", statText("13 0 6 101 48 0 0 1", "", "")}}, ""},
        {1.08, {{"/proc/stat", statText("9 0 6 101 48 0 0 1", "", "")}}, ""},
        {1.1,
         {{"/proc/stat", statText("20 0 6 101 48 0 0 1", "", "")}},
         "CPU Time @1.08+0.02: CPU0/user=20 CPU0/nice=0 CPU0/system=0 CPU0/idle=0 CPU0/iowait=0 "
         "CPU0/irq=0 CPU0/softirq=0 CPU0/steal=0\n"},
        {1.12,
         {},
         "CPU Time @1.1+0.02: CPU0/user=0 CPU0/nice=0 CPU0/system=0 CPU0/idle=0 CPU0/iowait=0 "
         "CPU0/irq=0 CPU0/softirq=0 CPU0/steal=0\n"},
        {1.13,
         {{"/proc/stat", statText("22 0 6 101 48 0 0 1", "", "")}},
         "CPU Time @1.12+0.01: CPU0/user=10 CPU0/nice=0 CPU0/system=0 CPU0/idle=0 CPU0/iowait=0 "
         "CPU0/irq=0 CPU0/softirq=0 CPU0/steal=0\n"}},
       "CPU Time: CPU0/user=10\n"},
  };
}

std::vector<Scenario> gaugeScenarios() {
  return {
      {"frequencies: policies by number, their CPUs in the name, the reading of an interval's "
       "start",
       "cpu-freq",
       {{kPolicy + "10/scaling_cur_freq", "800000"},
        {kPolicy + "10/affected_cpus", ""},
        {kPolicy + "10/related_cpus", "10"},
        {kPolicy + "2/scaling_cur_freq", "2400500\n"},
        {kPolicy + "2/affected_cpus", "2 3 4 8\n"},
        {"/sys/devices/system/cpu/cpufreq/boost", "1"}},
       {{0, {}, ""},
        {1,
         {{kPolicy + "2/scaling_cur_freq", "<unknown>"},
          {kPolicy + "10/scaling_cur_freq", "900000"}},
         "CPU Frequency @0+1: Policy2 (CPU2-4 CPU8)/Frequency=2400.5 Policy10 "
         "(CPU10)/Frequency=800\n"},
        {2,
         {{kPolicy + "2/scaling_cur_freq", "1000000"}},
         "CPU Frequency @1+1: Policy10 (CPU10)/Frequency=900\n"},
        {4,
         {},
         "CPU Frequency @2+2: Policy2 (CPU2-4 CPU8)/Frequency=1000 Policy10 "
         "(CPU10)/Frequency=900\n"}}},
      {"temperatures: negative, the same type twice, the same label twice, a failed read is a gap",
       "thermal",
       {{kZone + "0/type", "board"},
        {kZone + "0/temp", "-5500"},
        {kZone + "1/type", "board"},
        {kZone + "1/temp", "0"},
        {kMonitor + "3/name", "chip"},
        {kMonitor + "3/temp1_input", "41000"},
        {kMonitor + "3/temp2_input", "42000"},
        {kMonitor + "3/temp2_label", "Core"},
        {kMonitor + "3/temp10_input", "43001"},
        {kMonitor + "3/temp10_label", "Core"},
        {kMonitor + "3/temp2_crit", "99000"}},
       {{0, {}, ""},
        {1,
         {{kZone + "1/temp", kGone}},
         "Temperature @0+1: board (thermal_zone0)/Temperature=-5.5 board "
         "(thermal_zone1)/Temperature=0 chip temp1 "
         "(hwmon3)/Temperature=41 chip Core (hwmon3)/Temperature=42 chip Core temp10 "
         "(hwmon3)/Temperature=43.001\n"},
        {2,
         {{kZone + "1/temp", "1000"}},
         "Temperature @1+1: board (thermal_zone0)/Temperature=-5.5 chip temp1 "
         "(hwmon3)/Temperature=41 chip Core "
         "(hwmon3)/Temperature=42 chip Core temp10 (hwmon3)/Temperature=43.001\n"},
        {3,
         {},
         "Temperature @2+1: board (thermal_zone0)/Temperature=-5.5 board "
         "(thermal_zone1)/Temperature=1 chip temp1 "
         "(hwmon3)/Temperature=41 chip Core (hwmon3)/Temperature=42 chip Core temp10 "
         "(hwmon3)/Temperature=43.001\n"}}},
  };
}

/// Counters that run backwards, by what is known of the power of their zones: limits, a maximum,
/// nothing, nothing.
Scenario energyRestarts() {
  const auto energies = [](const std::string& first, const std::string& second,
                           const std::string& third, const std::string& fourth) {
    return FileTable{{kPower + "rapl:0/energy_uj", first},
                     {kPower + "rapl:1/energy_uj", second},
                     {kPower + "rapl:2/energy_uj", third},
                     {kPower + "rapl:3/energy_uj", fourth}};
  };
  FileTable files = energies("961000000", "961000000", "960000000", "970000000");
  for (const auto& [zone, range] : {std::pair{"0", "1000000000"},
                                    {"1", "1000000000"},
                                    {"2", "4960000000"},
                                    {"3", "4960000000"}}) {
    files[kPower + "rapl:" + zone + "/name"] = std::string("z") + zone;
    files[kPower + "rapl:" + zone + "/max_energy_range_uj"] = range;
  }
  for (const auto& [zone, limit, maximum] :
       {std::tuple{"0", "10000000", "1000"}, {"1", "1000", "10000000"}}) {
    files[kPower + "rapl:" + zone + "/constraint_0_power_limit_uw"] = limit;
    files[kPower + "rapl:" + zone + "/constraint_1_max_power_uw"] = maximum;
  }
  // One below, and one at, four times the 39 W that they have had.
  FileTable last = energies("10000000", "10000000", "7000000", "7000000");
  last[kPower + "rapl:0/max_energy_range_uj"] = "175000000";
  last[kPower + "rapl:1/max_energy_range_uj"] = "176000000";
  return {
      "energy: a wrap is believed below four times the largest known power, that of the limits, "
      "of the maximum, of the peak so far, or 1 kW; else the counter began anew",
      "energy",
      files,
      {{0, {}, ""},
       {1, energies("0", "0", "0", "0"),
        "Energy @0+1: z0/Energy=39000 z1/Energy=39000 z3/Energy=3990000\n"},
       {2, energies("30000000", "30000000", "5000000", "5000000"),
        "Energy @1+1: z0/Energy=30000 z1/Energy=30000 z2/Energy=5000 z3/Energy=5000\n"},
       {3, last, "Energy @2+1: z0/Energy=155000 z2/Energy=2000 z3/Energy=2000\n"}}};
}

std::vector<Scenario> counterScenarios() {
  const std::string manyInterrupts = " 0 17" + std::string(40000, '0') + "\n";
  const auto counts = [&](const std::string& intr, const std::string& rest) {
    return statText("0 0 0 0 0 0 0 0", "", "intr " + intr + manyInterrupts + rest);
  };
  return {
      {"energy: nested names, equal names of two control types, wraps with, without and beyond a "
       "range",
       "energy",
       {{kPower + "rapl/enabled", "1"},
        {kPower + "rapl:0/name", "package-0"},
        {kPower + "rapl:0/energy_uj", "1000"},
        {kPower + "rapl:0/max_energy_range_uj", "10000"},
        {kPower + "rapl:0:0/name", "core"},
        {kPower + "rapl:0:0/energy_uj", "9000"},
        {kPower + "rapl:0:0/max_energy_range_uj", "8000"},
        {kPower + "other:0/name", "package-0"},
        {kPower + "other:0/energy_uj", "500"}},
       {{0, {}, ""},
        {1,
         {{kPower + "rapl:0/energy_uj", "9000"}, {kPower + "other:0/energy_uj", "400"}},
         "Energy @0+1: package-0 (rapl)/Energy=8 package-0/core/Energy=0\n"},
        {2,
         {{kPower + "rapl:0/energy_uj", "500"},
          {kPower + "rapl:0:0/energy_uj", "1"},
          {kPower + "other:0/energy_uj", "401"}},
         "Energy @1+1: package-0 (other)/Energy=0.001 package-0 (rapl)/Energy=1.5\n"}}},
      {"energy: zones that come back under each other's number are met by name",
       "energy",
       {{kPower + "rapl:0/name", "package-0"},
        {kPower + "rapl:0/energy_uj", "1000"},
        {kPower + "rapl:1/name", "package-1"},
        {kPower + "rapl:1/energy_uj", "70000"}},
       {{0, {}, ""},
        {1, {{kPower + "rapl:0/energy_uj", kGone}, {kPower + "rapl:1/energy_uj", kGone}}, ""},
        {2,
         {{kPower + "rapl:0/name", "package-1"},
          {kPower + "rapl:0/energy_uj", "71000"},
          {kPower + "rapl:1/name", "package-0"},
          {kPower + "rapl:1/energy_uj", "2000"}},
         ""},
        {3,
         {{kPower + "rapl:0/energy_uj", "75000"}, {kPower + "rapl:1/energy_uj", "2001"}},
         "Energy @2+1: package-0/Energy=0.001 package-1/Energy=4\n"}}},
      energyRestarts(),
      {"events behind a line of 40,000 characters; a missing count is a gap of that count",
       "interrupts",
       {{"/proc/stat", counts("100", "ctxt 20\nbtime 5\nprocesses 3\n")}},
       {{0, {}, ""},
        {1,
         {{"/proc/stat", counts("105", "ctxt 20\nprocesses 4\n")}},
         "System Activity @0+1: /Interrupts=5 /Context Switches=0 /Forks=1\n"},
        {2, {{"/proc/stat", counts("104", "processes 6\n")}}, "System Activity @1+1: /Forks=2\n"},
        {4,
         {{"/proc/stat", counts("114", "ctxt 50\nprocesses 6\n")}},
         "System Activity @2+2: /Interrupts=10 /Forks=0\n"}}},
  };
}

TEST(CollectTest, Scenarios) {
  for (const auto& scenarios :
       {sleepScenarios(), cpuTimeScenarios(), gaugeScenarios(), counterScenarios()}) {
    play(scenarios);
  }
}

TEST(CollectTest, ResidenciesNeverExceedTheTimeAndLoseNothingOfIt) {
  std::mt19937 random(testSeed());
  ResidencyCarry carry(3);
  Ticks counted(3);
  Ticks attributed(3);
  unsigned long long elapsed = 0;
  unsigned long long sleptUntil = 0;
  for (int pass = 0; pass < 5000; ++pass) {
    const unsigned long long interval = 1 + random() % 1'000'000'007;
    elapsed += interval;
    Ticks ticks(3);
    if (random() % 64 == 0) {  // a reading was refused, and began anew
      carry.restart();
      sleptUntil = elapsed - interval;
    }
    if (random() % 4 == 0) {  // the CPU wakes, after a sleep that may span many intervals
      for (unsigned long long& growth : ticks)
        growth = (elapsed - sleptUntil) / (1 + random() % 3 + 2);
      sleptUntil = elapsed;
    }
    for (std::size_t i = 0; i < 3; ++i) counted[i] += ticks[i];
    carry.attribute(interval, ticks);
    ASSERT_LE(sum(ticks), interval);
    for (std::size_t i = 0; i < 3; ++i) attributed[i] += ticks[i];
  }
  EXPECT_LE(sum(attributed) + sum(carry.remainder()), elapsed);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(attributed[i] + carry.remainder()[i], counted[i]);
  }
}

TEST(CollectTest, ResidencyCarrySharesExactly) {
  struct Row {
    unsigned long long interval;
    Ticks growth;
    Ticks expected;
  };
  ResidencyCarry carry(3);
  for (const Row& row :
       {Row{10, {0, 0, 0}, {0, 0, 0}},
        Row{10, {0, 0, 100}, {0, 0, 10}},  // 80 of it before the start
        Row{10, {0, 0, 0}, {0, 0, 10}}, Row{10, {0, 0, 0}, {0, 0, 0}}, Row{1, {4, 3, 4}, {0, 0, 1}},
        Row{9, {0, 0, 0}, {3, 3, 3}}, Row{7, {7, 7, 7}, {2, 2, 3}},
        Row{100, {1000, 0, 0}, {92, 4, 4}}, Row{100, {0, 0, 0}, {19, 1, 0}}}) {
    Ticks ticks = row.growth;
    carry.attribute(row.interval, ticks);
    EXPECT_EQ(ticks, row.expected);
  }
}

TEST(CollectTest, AbsentFeaturesTellWhy) {
  const FileTable noEnergy{{kPower + "rapl:0/name", "package-0"},
                           {kPower + "rapl:0/energy_uj", ""}};
  struct Row {
    const char* tag;
    FileTable files;
    const char* reason;
  };
  for (const Row& row :
       {Row{"core-cstate", {}, "no sleep states (cpuidle) below /sys/devices/system/cpu"},
        Row{"cpu-time", {}, "/proc/stat cannot be read: No such file or directory"},
        Row{"cpu-time", {{"/proc/stat", "intr 5\n"}}, "no CPUs in /proc/stat"},
        Row{"cpu-freq", {}, "no readable frequency policies below /sys/devices/system/cpu/cpufreq"},
        Row{"thermal",
            {},
            "no readable temperatures below /sys/class/thermal and /sys/class/hwmon"},
        Row{"energy", {}, "no energy counters below /sys/class/powercap"},
        Row{"energy", noEnergy,
            "the energy counters below /sys/class/powercap cannot be read: No data available"},
        Row{"interrupts", {{"/proc/stat", "cpu0 1\n"}}, "no event counts in /proc/stat"}}) {
    const SysTree tree(row.files);
    const FeatureDriver driver(row.tag, tree);
    EXPECT_EQ(driver.reason(), row.reason);
    EXPECT_TRUE(driver.feature().metrics().empty());
  }
}

TEST(CollectTest, MetricsDescribeTheirCombinations) {
  FileTable files = idleTree(2);
  files.erase(kIdle1 + "state1/usage");  // incomplete: that state is left out, not its CPU
  const SysTree tree(files);
  const FeatureDriver driver("core-cstate", tree);
  ASSERT_EQ(driver.feature().metrics().size(), 2U);
  for (const pwr::MetricDescription* metric : driver.feature().metrics()) {
    EXPECT_EQ(metric->containerId, 7U);
    EXPECT_EQ(metric->featureTag, "core-cstate");
    ASSERT_EQ(metric->combinations.size(), 3U);
    EXPECT_EQ(metric->combinations[2].entity->getQualifiedName(), "Package0/Core1/CPU1");
    EXPECT_EQ(metric->combinations[2].descriptor, metric->combinations[0].descriptor);
  }
}

TEST(CollectTest, AZoneThatCannotBeReadIsDescribed) {
  const SysTree tree({{kPower + "rapl:0/name", "locked"},
                      {kPower + "rapl:0/energy_uj", ""},
                      {kPower + "rapl:1/name", "open"},
                      {kPower + "rapl:1/energy_uj", "5"}});
  FeatureDriver driver("energy", tree);
  ASSERT_EQ(driver.feature().metrics().size(), 1U);
  const auto& combinations = driver.feature().metrics().front()->combinations;
  ASSERT_EQ(combinations.size(), 2U);
  EXPECT_EQ(combinations[0].entity->getName(), "locked");
  EXPECT_EQ(driver.sample(0), "");
  EXPECT_EQ(driver.sample(1), "Energy @0+1: open/Energy=0\n");
}

TEST(CollectTest, FilesBelowTheRoot) {
  const SysTree tree({{"/d/cpu10", ""}, {"/d/cpu2", "x"}, {"/d/cpufreq", "x"}, {"/d/cpu2:1", "x"}});
  const SysRoot root(tree.folder());
  EXPECT_EQ(root.list("/d"), (std::vector<std::string>{"cpu2", "cpu2:1", "cpu10", "cpufreq"}));
  EXPECT_EQ(root.listNumbered("/d", "cpu"), (std::vector<unsigned int>{2, 10}));
  std::string text = "before";
  long long number = 5;
  EXPECT_EQ(root.readText("/d/none", text), ENOENT);
  EXPECT_EQ(root.readText("/d/cpu10", text), ENODATA);
  EXPECT_EQ(root.readNumber("/d/cpu2", number), EINVAL);
  ASSERT_EQ(mkfifo(root.path("/d/pipe").c_str(), 0600), 0);
  EXPECT_EQ(root.readText("/d/pipe", text), ESPIPE) << "or waits for a writer";
  EXPECT_EQ(text, "before");
  EXPECT_EQ(number, 5);
  const std::string large = std::string(100'000, 'y') + "\nend";
  tree.write("/d/large", large);
  std::filesystem::create_symlink("large", tree.folder() + "/d/link");
  EXPECT_EQ(root.readText("/d/link", text), 0);
  EXPECT_EQ(text, large);
  OpenFile file(root.path("/d/cpu10"));
  for (const auto& [content, status] : {std::pair{"-7\n", 0}, {"", ENODATA}, {"12", 0}}) {
    tree.write("/d/cpu10", content);
    EXPECT_EQ(file.readNumber(number), status);
  }
  EXPECT_EQ(number, 12);
}

TEST(CollectTest, DescribesTheSystem) {
  const std::string cpu = "/sys/devices/system/cpu/";
  FileTable files{{"/proc/cpuinfo",
                   "processor\t: 0\ncpu family\t: 5\nmodel\t\t: 77\nmodel name\t: Maker  X\n"
                   "stepping\t: 8\ncpu MHz\t\t: 1999.5\n\nprocessor\t: 1\nmodel\t\t: 1\n"},
                  {"/proc/sys/kernel/hostname", "box\n"},
                  {"/proc/sys/kernel/arch", "x86_64\n"},
                  {"/proc/sys/kernel/osrelease", "6.18.4-custom+\n"},
                  {"/etc/os-release", "NAME=Some\nPRETTY_NAME=\"Some System 12\"\n"},
                  {"/sys/class/dmi/id/product_name", "Board 5\n"},
                  {kPolicy + "0/cpuinfo_max_freq", "3900000"},
                  {kPolicy + "0/cpuinfo_min_freq", "800000"},
                  {cpu + "online", "0-2,10\n"}};
  // Package 0 has a cluster of two cores and one of a single core; CPU 11 is offline.
  const std::map<int, std::array<int, 3>> topology{
      {0, {0, 0, 0}}, {1, {0, 0, 1}}, {2, {0, 8, 2}}, {10, {1, 0, 0}}, {11, {1, 0, 1}}};
  for (const auto& [number, ids] : topology) {
    const std::string folder = cpu + "cpu" + std::to_string(number) + "/topology/";
    files[folder + "physical_package_id"] = std::to_string(ids[0]);
    files[folder + "cluster_id"] = std::to_string(ids[1]);
    files[folder + "core_id"] = std::to_string(ids[2]);
  }
  const SysTree tree(files);
  const SysRoot root(tree.folder());
  const CpuEntities cpus(root);
  const pwr::SystemDescription system = probeSystem(root, cpus);
  EXPECT_EQ(system.cpuNativeModelName, "Maker  X");
  EXPECT_EQ(system.cpuId, (std::array<std::uint8_t, 3>{5, 77, 8}));
  EXPECT_EQ(system.hostName + "|" + system.osType + "|" + system.osVersion + "|" + system.osName +
                "|" + system.platformName,
            "box|x86_64|6.18.4|Some System 12|Board 5");
  EXPECT_EQ(system.hfmFrequencyMHz, 3900.0F);
  EXPECT_EQ(system.lfmFrequencyMHz, 800.0F);
  EXPECT_EQ(system.cpuFrequencyMHz, 1999.5F);
  EXPECT_EQ(system.timestampClockFrequencyMHz, 1000U);
  EXPECT_EQ(system.topology.getNumPackages(), 2U);
  EXPECT_EQ(system.topology.getNumModules(), 3U);
  EXPECT_EQ(system.topology.getNumCores(), 4U);
  EXPECT_EQ(system.topology.getNumThreads(), 4U);
  EXPECT_EQ(cpus.cpus()[2].entity->getQualifiedName(), "Package0/Module8/Core2/CPU2");
  EXPECT_EQ(cpus.cpus()[3].entity->getQualifiedName(), "Package1/Module0/Core0/CPU10");
}

TEST(CollectTest, CoresOfDiesAreToldApart) {
  // Cores 0 and 2 of each die, or those of the second one in numbers of their own.
  const struct {
    int ofSecondDie;
    const char* last;
  } cases[] = {{0, "Package7/Core3/CPU63"}, {4, "Package7/Core6/CPU63"}};
  for (const auto& [ofSecondDie, last] : cases) {
    FileTable files;
    for (int cpu = 0; cpu < 8 * 2 * 2 * 2; ++cpu) {
      const int die = cpu / 4 % 2;
      const std::string folder = "/sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/topology/";
      files[folder + "physical_package_id"] = std::to_string(cpu / 8);
      files[folder + "die_id"] = std::to_string(die);
      files[folder + "core_id"] = std::to_string(cpu / 2 % 2 * 2 + die * ofSecondDie);
    }
    const SysTree tree(files);
    const SysRoot root(tree.folder());
    const CpuEntities cpus(root);
    const pwr::SystemDescription system = probeSystem(root, cpus);
    EXPECT_EQ(system.topology.getNumPackages(), 8U);
    EXPECT_EQ(system.topology.getNumCores(), 32U);
    EXPECT_EQ(system.topology.getNumThreads(), 64U);
    EXPECT_EQ(cpus.cpus().back().entity->getQualifiedName(), last);
  }
}

TEST(CollectTest, ModulesAreLeftOutWhereTheyTellNothing) {
  const std::string cpu = "/sys/devices/system/cpu/cpu";
  // The clusters of four CPUs, two to a core: one for all, one to a core, unknown.
  for (const std::string clusters : {"0000", "0011", "----"}) {
    FileTable files{{"/proc/cpuinfo", "CPU implementer\t: 0x7f\nCPU part\t: 0x123\n"}};
    for (std::size_t i = 0; i < 4; ++i) {
      const std::string folder = cpu + std::to_string(i) + "/topology/";
      files[folder + "core_id"] = std::to_string(i / 2);
      if (clusters[i] != '-') files[folder + "cluster_id"] = clusters.substr(i, 1);
    }
    const SysTree tree(files);
    const SysRoot root(tree.folder());
    const CpuEntities cpus(root);
    const pwr::SystemDescription system = probeSystem(root, cpus);
    EXPECT_EQ(system.topology.getNumModules(), 0U) << clusters;
    EXPECT_EQ(system.topology.getNumCores(), 2U);
    EXPECT_EQ(system.topology.getNumThreads(), 4U);
    EXPECT_EQ(system.cpuNativeModelName, "implementer 0x7f part 0x123");
    EXPECT_EQ(system.hostName, "");  // a copy of another machine has not this one's name
  }
}

}  // namespace
}  // namespace tavrin
