// CPUs that come online while they are measured, and those that leave.

#include <gtest/gtest.h>

#include <chrono>
#include <set>

#include "CollectSupport.h"
#include "hostcommon/Descriptions.h"
#include "tavrin/collect/CStateCounters.h"

namespace tavrin {
namespace {

const std::string kCpu = "/sys/devices/system/cpu/";
const std::string kSources = "/sys/bus/event_source/devices/";
const std::string kState1 = kCpu + "cpu1/cpuidle/state1/";

FileTable idleState(const std::string& folder, const std::string& time, const std::string& usage) {
  return {{folder + "name", "C1"}, {folder + "time", time}, {folder + "usage", usage}};
}

FileTable topology(const std::string& cpu, const std::string& package, const std::string& die,
                   const std::string& core) {
  const std::string folder = kCpu + cpu + "/topology/";
  return {{folder + "physical_package_id", package},
          {folder + "die_id", die},
          {folder + "core_id", core}};
}

FileTable together(std::initializer_list<FileTable> tables) {
  FileTable all;
  for (const FileTable& table : tables) all.insert(table.begin(), table.end());
  return all;
}

TEST(JoiningCpus, OneJoinsWhenItsFilesHaveComeAndHasAGapWhileItIsAway) {
  const auto pass = [](const std::string& interval, const std::string& time,
                       const std::string& entries) {
    return "CPU C-State @" + interval + ": CPU0/C1=0" + time + "\nCPU C-State Entries @" +
           interval + ": CPU0/C1=0" + entries + "\n";
  };
  play({{"with topology",
         "core-cstate",
         together({{{kCpu + "online", "0"}},
                   topology("cpu0", "0", "0", "0"),
                   idleState(kCpu + "cpu0/cpuidle/state1/", "1000", "40")}),
         {{0, {}, ""},
          {1, together({{{kCpu + "online", "0-1"}}, {{kState1 + "name", "C1"}}}),
           pass("0+1", "", "")},
          {1.5, idleState(kState1, "1000", "40"), pass("1+0.5", "", "")},
          {2, topology("cpu1", "0", "0", "1"), pass("1.5+0.5", "", "")},
          {2.5,
           {{kState1 + "time", "201000"}, {kState1 + "usage", "45"}},
           pass("2+0.5", " CPU1/C1=200", " CPU1/C1=5")},
          {3, {{kCpu + "online", "0"}}, pass("2.5+0.5", "", "")},
          {4, {{kCpu + "online", "0-1"}, {kState1 + "time", "5000"}}, pass("3+1", "", "")},
          {5, {{kState1 + "time", "305000"}}, pass("4+1", " CPU1/C1=300", " CPU1/C1=0")}}}});
}

/// How a feature is measured on CPU0, and what comes with CPU1 and goes with it.
struct Joining {
  const char* tag;
  const char* metric;
  FileTable files;
  FileTable coming;
  FileTable going;
};

std::vector<Joining> joinings() {
  const std::string policy = kCpu + "cpufreq/policy";
  const std::string throttle = "/thermal_throttle/core_throttle_count";
  const std::string stat = "cpu  9 0 9 9\ncpu0 5 0 5 5\n";
  const std::string row = "  1:  5";
  return {
      {"core-cstate",
       "CPU C-State",
       idleState(kCpu + "cpu0/cpuidle/state1/", "5", "4"),
       idleState(kState1, "5", "4"),
       {{kState1 + "time", kGone}}},
      {"cpu-time",
       "CPU Time",
       {{"/proc/stat", stat}},
       {{"/proc/stat", stat + "cpu1 4 0 4 4\n"}},
       {{"/proc/stat", stat}}},
      {"interrupts",
       "CPU Interrupts",
       {{"/proc/stat", "intr 5\n"}, {"/proc/interrupts", "    CPU0\n" + row + " chip a\n"}},
       {{"/proc/interrupts", "    CPU0 CPU1\n" + row + " 7 chip a\n"}},
       {{"/proc/interrupts", "    CPU0\n" + row + " chip a\n"}}},
      {"cpu-freq",
       "CPU Frequency Time",
       {{policy + "0/affected_cpus", "0"}, {policy + "0/stats/time_in_state", "800000 1\n"}},
       {{policy + "1/affected_cpus", "1"}, {policy + "1/stats/time_in_state", "800000 1\n"}},
       {{policy + "1/stats/time_in_state", kGone}}},
      {"throttle",
       "Thermal Throttling",
       {{kCpu + "cpu0" + throttle, "5"}},
       {{kCpu + "cpu1" + throttle, "7"}},
       {}},
  };
}

std::string entitiesAt(FeatureDriver& driver, double seconds, const std::string& metric) {
  std::set<std::string> names;
  for (const pwr::Metric& message : driver.messages(seconds)) {
    if (message.getName() != metric) continue;
    for (const pwr::DataElement& element : message.getData().elements) {
      names.insert(element.getEntity()->getName());
    }
  }
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

TEST(JoiningCpus, EveryFeatureFollowsThem) {
  for (const Joining& joining : joinings()) {
    SCOPED_TRACE(joining.tag);
    const SysTree tree(joining.files);
    tree.write(kCpu + "online", "0");
    FeatureDriver driver(joining.tag, tree);
    ASSERT_EQ(driver.reason(), "");
    const auto set = [&](const std::string& online, const FileTable& files) {
      tree.write(kCpu + "online", online);
      for (const auto& [path, text] : files) {
        text == kGone ? tree.remove(path) : tree.write(path, text);
      }
    };
    const auto at = [&](double seconds) { return entitiesAt(driver, seconds, joining.metric); };
    const bool isPolicy = joining.tag == std::string("cpu-freq");
    const std::string one = isPolicy ? "Policy0 (CPU0)" : "CPU0";
    const std::string both = one + (isPolicy ? ", Policy1 (CPU1)" : ", CPU1");
    EXPECT_EQ(at(0), "");
    EXPECT_EQ(at(1), one);
    set("0-1", joining.coming);
    EXPECT_EQ(at(2), one) << "the change is noticed";
    at(2.2);  // the first readings of the one that joins,
    at(3);    // and those of what is read every second
    EXPECT_EQ(at(4), both);
    set("0", joining.going);
    EXPECT_EQ(at(5), one);
    set("0-1", joining.coming);
    EXPECT_EQ(at(6), one);
    EXPECT_EQ(at(7), both);
  }
}

std::string pathOf(const pwr::EntityHandle* entity) {
  std::string path = entity->getName();
  while ((entity = entity->getParent()) != nullptr) path.insert(0, entity->getName() + "/");
  return path;
}

TEST(JoiningCpus, TheirPlaceIsThatOfTheirTopology) {
  const SysTree tree(together({{{kCpu + "online", "0"}}, topology("cpu0", "0", "0", "0")}));
  const SysRoot root(tree.folder());
  CpuEntities cpus(root);
  const FileTable later =
      together({topology("cpu1", "0", "0", "0"), topology("cpu2", "1", "0", "0"),
                topology("cpu3", "0", "1", "0"), topology("cpu4", "0", "1", "0")});
  for (const auto& [path, text] : later) tree.write(path, text);
  tree.write(kCpu + "online", "0-5");
  cpus.updateAt(1);
  EXPECT_EQ(cpus.cpus().size(), 1U) << "not all of their files may be there yet";
  const pwr::EntityHandle* const early = cpus.entityOf(3);
  EXPECT_EQ(cpus.find(3), nullptr);
  EXPECT_EQ(cpus.entityOf(5), nullptr);
  cpus.updateAt(1000000000);
  EXPECT_EQ(cpus.find(3)->entity, early);
  std::string paths;
  for (const CpuEntities::Cpu& cpu : cpus.cpus()) paths += pathOf(cpu.entity) + "\n";
  EXPECT_EQ(paths,
            "Package0/Core0/CPU0\nPackage0/Core0/CPU1\nPackage1/Core0/CPU2\n"
            "Package0/Core1/CPU3\nPackage0/Core1/CPU4\n")
      << "the core of another die has a number of its own; CPU5 tells nothing yet";
  pwr::TopTree topology;
  cpus.describe(topology);
  EXPECT_EQ(topology.getNumThreads(), 5U);
  EXPECT_EQ(topology.getNumCores(), 3U);
}

/// A tree of two packages, of which the second one comes later. What its counters of sleep count is
/// this machine's timestamp counter: all of the time.
FileTable countedPackages() {
  const SysRoot machine;
  const std::string type = machine.readLine(kSources + "msr/type");
  const std::string event = machine.readLine(kSources + "msr/events/tsc");
  return together({{{kCpu + "online", "0"},
                    {kSources + "msr/type", type},
                    {kSources + "msr/events/tsc", event},
                    {kSources + "cstate_pkg/type", type},
                    {kSources + "cstate_pkg/cpumask", "0"},
                    {kSources + "cstate_pkg/events/c6-residency", event}},
                   topology("cpu0", "0", "0", "0"),
                   topology("cpu1", "1", "0", "0")});
}

TEST(JoiningCpus, TheSleepOfAPackageIsCountedWhileACpuOfItIsOnline) {
  const SysTree tree(countedPackages());
  const SysRoot root(tree.folder());
  CpuEntities cpus(root);
  CStateCounters counters("cstate_pkg", "Package");
  const int error = counters.open(root, cpus);
  if (error != 0) GTEST_SKIP() << "no timestamp counter: " << error;
  const pwr::MetricDescription* const metric = pwr::createMetric(counters.describe());
  const auto at = [&](unsigned long long seconds, const std::string& online) {
    tree.write(kCpu + "online", online);
    tree.write(kSources + "cstate_pkg/cpumask", online);
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(5);
    while (std::chrono::steady_clock::now() < end) continue;
    SampleBatch batch;
    cpus.updateAt(seconds * kTicksPerSecond);
    counters.sample(seconds * kTicksPerSecond, cpus, metric, batch);
    std::string names;
    for (const pwr::Metric& message : batch) {
      for (const pwr::DataElement& element : message.getData().elements) {
        names += element.getEntity()->getName() + " ";
        double ticks = 0;
        element.getValue()->toReal(ticks);
        EXPECT_GT(ticks, 0.5 * static_cast<double>(kTicksPerSecond)) << names;
      }
    }
    return names;
  };
  EXPECT_EQ(at(0, "0"), "");
  EXPECT_EQ(at(1, "0-1"), "Package0 ");
  EXPECT_EQ(at(2, "0-1"), "Package0 ") << "the first readings of the one that joins";
  EXPECT_EQ(at(3, "0-1"), "Package0 Package1 ");
  EXPECT_EQ(at(4, "1"), "") << "the clock moves to another CPU";
  EXPECT_EQ(at(5, "1"), "");
  EXPECT_EQ(at(6, "1"), "Package1 ");
  EXPECT_EQ(at(7, "0-1"), "Package1 ");
  EXPECT_EQ(at(8, "0-1"), "Package1 ");
  EXPECT_EQ(at(9, "0-1"), "Package0 Package1 ");
}

}  // namespace
}  // namespace tavrin
