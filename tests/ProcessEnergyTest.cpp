// The model that divides the energy of packages among processes.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>

#include "ProcessTree.h"
#include "tavrin/collect/ProcessEnergyFeature.h"

namespace tavrin {
namespace {

const std::string kPower = "/sys/class/powercap/";

FileTable zone(const std::string& folder, const std::string& name, unsigned long long energy) {
  return {{kPower + folder + "/name", name},
          {kPower + folder + "/energy_uj", std::to_string(energy)},
          {kPower + folder + "/max_energy_range_uj", "262143328850"}};
}

/// Adds up columns of the table, in microjoules.
struct ColumnSums : TableText {
  void table(const pwr::TableMessage& message) override {
    TableText::table(message);
    sums.resize(message.getCells().size());
    for (std::size_t i = 1; i < sums.size(); ++i) {
      double millijoules = 0;
      EXPECT_EQ(message.getCells()[i].toReal(millijoules), 0);
      sums[i] += std::llround(millijoules * 1000);
    }
    ++rows;
  }
  std::vector<long long> sums;
  int rows = 0;
};

TEST(ProcessEnergy, TheLowestPowerIsIdleTheRestGoesByTime) {
  ProcessTree tree(zone("rapl:0", "package-0", 0));
  for (const auto& [path, text] : zone("rapl:0:0", "core", 0)) tree.write(path, text);
  tree.put({7, "user", 100, 0});
  tree.put({2, "kworker", 0, 0, 0, kKernelThread});
  tree.put({3, "ksoftirqd", 0, 0, 0, kKernelThread});
  FeatureDriver driver("process-energy", tree);
  ASSERT_EQ(driver.reason(), "");
  EXPECT_EQ(driver.sample(10), "");
  struct Step {
    double seconds;
    unsigned long long microjoules;
    unsigned long long user;  // ms
    unsigned long long worker;
    unsigned long long softirqd;
    const char* expected;
  };
  const std::string start = "Process Energy (Model) ";
  for (const Step& step : {
           // The first interval is the lowest so far.
           Step{11, 2'000'000, 10, 0, 0, "@10+1: package-0/Idle=2000(idle)\n"},
           {12, 5'000'000, 20, 20, 10,
            "@11+1: package-0/Idle=2000(idle) package-0/Kernel Threads=750(kernel threads) "
            "package-0/Busiest 1=250(user,7,7)\n"},
           // Half the power, for twice the time.
           {14, 7'000'000, 30, 20, 10, "@12+2: package-0/Idle=2000(idle)\n"},
           {15, 10'000'003, 40, 20, 10,
            "@14+1: package-0/Idle=1000(idle) package-0/Busiest 1=2000.003(user,7,7)\n"},
           // Whoever it was was not seen.
           {16, 20'000'003, 40, 20, 10, "@15+1: package-0/Idle=10000(idle)\n"},
           // Nothing was used.
           {17, 20'000'003, 50, 20, 10, ""},
           // The driver began anew.
           {18, 5, 60, 20, 10, ""},
       }) {
    tree.write(kPower + "rapl:0/energy_uj", std::to_string(step.microjoules));
    tree.run({7, "", 100, step.user});
    tree.run({2, "", 0, step.worker});
    tree.run({3, "", 0, step.softirqd});
    const std::string expected = step.expected;
    EXPECT_EQ(driver.sample(step.seconds), expected.empty() ? "" : start + expected);
  }
  pwr::SystemDescription system;
  EXPECT_EQ(driver.finish(system),
            "Process Energy Summary: Model by CPU Time\n"
            "idle | 17000.00 | 17000.00\n"
            "kernel threads | 750.00 | 750.00\n"
            "user (7) | 2250.00 | 2250.00\n");
}

/// Whatever they use, and however many come and go.
TEST(ProcessEnergy, TheRowsOfAZoneAddUpToIt) {
  std::mt19937 random(testSeed());
  ProcessTree tree;
  std::vector<unsigned long long> counters(2);
  for (std::size_t i = 0; i < 2; ++i) {
    const std::string number = std::to_string(i);
    for (const auto& [path, text] : zone("rapl:" + number, "package-" + number, 0)) {
      tree.write(path, text);
    }
  }
  std::map<int, unsigned long long> ran;
  for (int pid = 1; pid <= 60; ++pid) ran[pid] = 0;
  const auto fake = [&](int pid) {
    return FakeProcess{pid, "p", 100, ran[pid], 0, pid % 7 == 0 ? kKernelThread : 0U};
  };
  for (const auto& [pid, time] : ran) tree.put(fake(pid));
  const SysRoot root(tree.folder());
  CpuEntities cpus(root);
  const auto energy = std::make_shared<EnergyCounters>();
  const auto poll =
      std::make_shared<ProcessPoll>(std::make_shared<ProcessTable>(), std::make_shared<StatFile>());
  ProcessEnergyFeature feature(poll, energy);
  ASSERT_EQ(feature.probe(root, cpus, 7), "");
  SampleBatch batch;
  unsigned long long now = 1'000'000'000;
  feature.sample(now, batch);
  for (int pass = 0; pass < 30; ++pass) {
    std::map<const pwr::EntityHandle*, long long> used;
    for (std::size_t i = 0; i < 2; ++i) {
      const unsigned long long more = random() % 3 == 0 ? random() % 50 : random() % 90'000'000;
      counters[i] += more;
      tree.write(kPower + "rapl:" + std::to_string(i) + "/energy_uj", std::to_string(counters[i]));
      used[energy->zones()[i].entity] = static_cast<long long>(more);
    }
    for (auto& [pid, time] : ran) {
      time += random() % 4 == 0 ? random() % 1000 : 0;
      tree.run(fake(pid));
    }
    const int gone = static_cast<int>(random() % 200);
    if (ran.erase(gone) > 0) tree.end(gone);
    batch.clear();
    feature.sample(now += 1 + random() % 300'000'000, batch);
    for (const pwr::Metric& metric : batch) {
      EXPECT_LE(metric.getData().elements.size(), 2U * 23);
      for (const pwr::DataElement& element : metric.getData().elements) {
        double millijoules = 0;
        element.getValue()->toReal(millijoules);
        used[element.getEntity()] -= std::llround(millijoules * 1000);
      }
    }
    for (const auto& [entity, left] : used) EXPECT_EQ(left, 0) << entity->getName() << pass;
  }
  ColumnSums table;
  pwr::SystemDescription system;
  feature.finish(system, table);
  EXPECT_EQ(table.rows, 2 + 20 + 1);
  ASSERT_EQ(table.sums.size(), 4U);
  EXPECT_EQ(table.sums[2], static_cast<long long>(counters[0]));
  EXPECT_EQ(table.sums[3], static_cast<long long>(counters[1]));
  EXPECT_EQ(table.sums[1], table.sums[2] + table.sums[3]);
}

TEST(ProcessEnergy, AbsentWithoutPackagesOrProcesses) {
  ProcessTree tree;
  const auto reason = [&] { return FeatureDriver("process-energy", tree).reason(); };
  EXPECT_EQ(reason(), "no energy counters below /sys/class/powercap");
  for (const auto& [path, text] : zone("rapl:0", "psys", 0)) tree.write(path, text);
  EXPECT_EQ(reason(), "no energy counters of packages below /sys/class/powercap");
  tree.write(kPower + "rapl:0/name", "package-0");
  EXPECT_EQ(reason(), "/proc cannot be read: No such file or directory");
  tree.put({1, "init"});
  EXPECT_EQ(reason(), "");
}

TEST(EnergyCounters, PackagesCountOnceWhateverDriversTellOfThem) {
  SysTree tree;
  for (const auto& [folder, name] : {std::pair{"mmio:0", "package-0"},
                                     {"rapl:0", "package-0"},
                                     {"rapl:0:0", "core"},
                                     {"mmio:1", "package-1"}}) {
    for (const auto& [path, text] : zone(folder, name, 100)) tree.write(path, text);
  }
  const SysRoot root(tree.folder());
  EnergyCounters counters;
  ASSERT_EQ(counters.open(root), "");
  EXPECT_FALSE(counters.packageMicrojoules());
  counters.readAt(1);
  EXPECT_FALSE(counters.packageMicrojoules()) << "before the first interval";
  for (const char* const folder : {"mmio:0", "mmio:1", "rapl:0", "rapl:0:0"}) {
    tree.write(kPower + folder + "/energy_uj", "107");
  }
  for (int again = 0; again < 2; ++again) counters.readAt(2'000'000'000);
  EXPECT_EQ(counters.packageMicrojoules(), 14U);
}

}  // namespace
}  // namespace tavrin
