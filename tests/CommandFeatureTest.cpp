// What the measured command used.

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "CollectSupport.h"
#include "tavrin/collect/CommandFeature.h"

namespace tavrin {
namespace {

/// The table of a command, which is waited for, or ended while it runs.
class CommandTable {
 public:
  CommandTable(const std::vector<std::string>& command, bool isWaitedFor,
               std::shared_ptr<EnergyCounters> energy = std::make_shared<EnergyCounters>())
      : child_(command) {
    const SysRoot root;
    CpuEntities cpus(root);
    CommandFeature feature(&child_, std::move(energy));
    EXPECT_EQ(feature.probe(root, cpus, 9), "");
    EXPECT_EQ(feature.containerId(), 9U);
    child_.start();
    while (isWaitedFor && !child_.hasEnded()) std::this_thread::yield();
    pwr::SystemDescription system;
    feature.finish(system, table_);
  }

  /// "" where there is no such row.
  std::string value(const std::string& name) const {
    const std::string start = "\n" + name + " | ";
    const std::size_t place = table_.lines.find(start);
    if (place == std::string::npos) return "";
    const std::size_t first = place + start.size();
    return table_.lines.substr(first, table_.lines.find('\n', first) - first);
  }
  double number(const std::string& name) const { return std::strtod(value(name).c_str(), nullptr); }
  const std::string& text() const { return table_.lines; }

 private:
  ChildProcess child_;
  TableText table_;
};

/// 60 ms of work at least, half of it by a child of a child.
constexpr const char* kWork =
    "work() { i=0; while [ $i -lt 60000 ]; do i=$((i+1)); done; }; sh -c ':'; (work); work; exit 3";

TEST(CommandFeature, TellsWhatTheCommandAndItsChildrenUsed) {
  const CommandTable table({"sh", "-c", kWork}, true);
  EXPECT_TRUE(table.text().starts_with("Command Summary\n"));
  EXPECT_EQ(table.value("Exit Status"), "3") << table.text();
  const double used = table.number("User Time (ms)") + table.number("System Time (ms)");
  EXPECT_GT(used, 10);
  EXPECT_GE(table.number("Elapsed Time (ms)"), used * 0.8);
  EXPECT_GT(table.number("Peak Memory (KiB)"), 100);
  EXPECT_GT(table.number("Page Faults"), 50);
  EXPECT_FALSE(table.value("Page Faults with I/O").empty());
  EXPECT_FALSE(table.value("Voluntary Switches").empty());
  // Counted from the exec on, where the kernel lets this user count: the same to a few percent.
  if (table.value("Task Clock (ms)") != "n/a") {
    EXPECT_NEAR(table.number("Task Clock (ms)"), used, 0.1 * used + 10);
  }
  for (const char* const name : {"Instructions", "Cycles", "Cache Misses", "Branch Misses"}) {
    EXPECT_NE(table.text().find(std::string("\n") + name), std::string::npos) << name;
  }
  EXPECT_EQ(table.value("Energy of Packages (J)"), "n/a");
}

TEST(CommandFeature, OneThatWasKilledOrStillRuns) {
  EXPECT_EQ(CommandTable({"sh", "-c", "kill -9 $$"}, true).value("Exit Status"), "137");
  const LogCapture log;
  const CommandTable running({"sleep", "60"}, false);
  EXPECT_EQ(running.value("Exit Status"), "still running");
  EXPECT_EQ(running.value("User Time (ms)"), "n/a");
}

TEST(CommandFeature, EnergyOfPackagesWhereItIsRead) {
  const std::string folder = "/sys/class/powercap/rapl:0/";
  const SysTree tree({{folder + "name", "package-0"}, {folder + "energy_uj", "5"}});
  const SysRoot root(tree.folder());
  const auto energy = std::make_shared<EnergyCounters>();
  ASSERT_EQ(energy->open(root), "");
  energy->readAt(1);
  tree.write(folder + "energy_uj", "2500005");
  energy->readAt(1'000'000'001);
  EXPECT_EQ(CommandTable({"true"}, true, energy).value("Energy of Packages (J)"), "2.50");
}

TEST(CommandFeature, AbsentWithoutACommand) {
  const SysTree tree;
  EXPECT_EQ(FeatureDriver("command", tree).reason(), "no command is measured (record -- COMMAND)");
}

}  // namespace
}  // namespace tavrin
