// Features of counters that the kernel keeps in tables: disks, network, memory, pressure,
// interrupts.

#include <gtest/gtest.h>

#include <algorithm>

#include "CollectSupport.h"
#include "tavrin/collect/CounterTable.h"

namespace tavrin {
namespace {

const std::string kDisks = "/proc/diskstats";
const std::string kNetwork = "/proc/net/dev";
const std::string kMemory = "/proc/meminfo";
const std::string kEvents = "/proc/vmstat";
constexpr const char* kHuge = "18446744073709551615";

std::string disk(const std::string& name, const std::string& counts) {
  return "   8       0 " + name + " " + counts + "\n";
}

std::string interfaces(const std::string& lines) {
  return "Inter-|   Receive                    |  Transmit\n"
         " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets\n" +
         lines;
}

std::vector<Scenario> diskScenarios() {
  const std::string data = "Disk Data @";
  const auto values = [](const char* name, const char* read, const char* written,
                         const char* discarded) {
    const std::string start = std::string(" ") + name + "/";
    return start + "read=" + read + start + "written=" + written + start + "discarded=" + discarded;
  };
  const auto operations = [](const char* name, const char* reads, const char* writes,
                             const char* discards, const char* flushes) {
    const std::string start = std::string(" ") + name + "/";
    return start + "reads=" + reads + start + "writes=" + writes + start + "discards=" + discards +
           start + "flushes=" + flushes;
  };
  return {
      {"disks: partitions and unused disks are left out, a disk joins when it counts, one that "
       "counted backwards is another",
       "disk",
       {{"/sys/block/sda/size", "9"},
        {"/sys/block/cciss!c0d0/size", "9"},
        {"/sys/block/loop0/size", "0"},
        {kDisks, disk("sda", "10 1 100 5 20 2 200 5 3 9 9 1 0 8 0 2 0") +
                     disk("sda1", "10 1 100 5 20 2 200 5 3 9 9 1 0 8 0 2 0") +
                     disk("cciss/c0d0", "1 0 8 0 0 0 0 0 0 0 0") +
                     disk("loop0", "0 0 0 0 0 0 0 0 0 0 0")}},
       {{0, {}, ""},
        {1,
         {{kDisks, disk("sda", "11 1 108 5 22 2 202 5 0 9 9 2 0 16 0 5 0") +
                       disk("sda1", "99 1 108 5 22 2 202 5 0 9 9 2 0 16 0 5 0") +
                       disk("cciss/c0d0", "2 0 16 0 0 0 0 0 0 0 0") +
                       disk("loop0", "0 0 0 0 0 0 0 0 0 0 0")}},
         data + "0+1:" + values("cciss/c0d0", "4096", "0", "0") +
             values("sda", "4096", "1024", "4096") +
             "\nDisk Operations @0+1:" + operations("cciss/c0d0", "1", "0", "0", "0") +
             operations("sda", "1", "2", "1", "3") + "\n"},
        {2,
         {{kDisks, disk("sda", "11 1 108 5 22 2 202 5 0 9 9 2 0 16 0 4 0") +
                       disk("cciss/c0d0", "2 0 16 0 0 0") +
                       disk("loop0", "0 0 0 0 3 0 1 0 0 0 0")}},
         data + "1+1:" + values("loop0", "0", "512", "0") +
             "\nDisk Operations @1+1:" + operations("loop0", "0", "3", "0", "0") + "\n"},
        {3, {{kDisks, kGone}}, ""},
        {4, {{kDisks, disk("sda", "11 1 108 5 22 2 202 5 0 9 9 2 0 16 0 9 0")}}, ""},
        {5,
         {{kDisks, disk("sda", std::string("12 1 ") + kHuge + " 5 22 2 202 5 0 9 9 2 0 16 0 9 0")}},
         data + "4+1: sda/written=0 sda/discarded=0\nDisk Operations @4+1:" +
             operations("sda", "1", "0", "0", "0") + "\n"}}},
  };
}

std::vector<Scenario> networkScenarios() {
  const auto line = [](const std::string& name, const char* received, const char* faults,
                       const char* sent) {
    return name + ":" + received + " " + faults + " 0 0 0 0 " + sent + " 0 0 0 0 0 0\n";
  };
  const auto values = [](const char* name, const char* bytes, const char* packets,
                         const char* faults) {
    const auto pair = [&](const char* number) {
      return std::string(" ") + name + "/received=" + number + " " + name + "/sent=" + number;
    };
    return "Network Data @0+1:" + pair(bytes) + "\nNetwork Packets @0+1:" + pair(packets) +
           "\nNetwork Faults @0+1: " + name + "/receive errors=" + faults + " " + name +
           "/receive drops=" + faults + " " + name + "/send errors=0 " + name + "/send drops=0\n";
  };
  return {
      {"network: a number right behind the colon, colons in names, damaged lines",
       "network",
       {{kNetwork, interfaces(line("  eth0", "1000 10", "0 1", "500 5") +
                              line("  lo", "0 0", "0 0", "0 0") + line("", "9 9", "9 9", "9 9"))}},
       {{0, {}, ""},
        {1,
         {{kNetwork, interfaces(line("  eth0", "1500 12", "4 5", "1000 7") + "  lo: 9 9 9\n")}},
         values("eth0", "500", "2", "4")},
        {2,
         {{kNetwork, interfaces(line("eth0", "1500 12", "3 5", "1000 7") +
                                line("br:0", "64 1", "0 0", "0 0"))}},
         ""},
        {3, {{kNetwork, interfaces("")}}, ""},
        {4, {{kNetwork, interfaces(line("eth0", kHuge, "5", "1000 7"))}}, ""}}},
  };
}

std::vector<Scenario> memoryScenarios() {
  return {
      {"memory: the sizes of an interval's start; what is missing or cannot be is a gap",
       "memory",
       {{kMemory,
         "MemTotal:  100 kB\nMemFree: 10 kB\nMemAvailable: 30 kB\nBuffers: 1 kB\n"
         "Cached: 2 kB\nSwapCached: 7 kB\nSwapTotal: 0 kB\nSwapFree: 0 kB\n"},
        {kEvents, "nr_free_pages 5\npgpgin 3\npgfault 100\npgmajfault 7\n"}},
       {{0, {}, ""},
        {1,
         {{kMemory, "MemTotal:  100 kB\nMemFree: 10 kB\nMemAvailable: 101 kB\nCached: 2 kB\n"},
          {kEvents, "pgpgin 5\npgfault 150\npgmajfault 6\n"}},
         "Memory @0+1: /used=71680 /available=30720 /free=10240 /cached=3072 /swap used=0\n"
         "Memory Events @0+1: /page faults=50\nMemory Traffic @0+1: /paged in=2048\n"},
        {2,
         {{kMemory, kGone}, {kEvents, std::string("pgpgin ") + kHuge + "\npgmajfault 8\n"}},
         "Memory @1+1: /available=103424 /free=10240\n"
         "Memory Events @1+1: /major page faults=2\n"},
        {3,
         {{kMemory, std::string("MemFree: ") + kHuge + " kB\nMemAvailable: 1\n"}, {kEvents, kGone}},
         ""},
        {4, {}, "Memory @3+1: /available=1024\n"}}},
  };
}

std::string pressure(const std::string& some, const std::string& full) {
  const std::string averages = " avg10=9.99 avg60=0.00 avg300=0.00 total=";
  return "some" + averages + some + "\n" + (full.empty() ? "" : "full" + averages + full + "\n");
}

std::vector<Scenario> pressureScenarios() {
  const std::string folder = "/proc/pressure/";
  return {
      {"pressure: never more than the time, what does not fit comes later or is the remainder; "
       "CPUs have no full one",
       "pressure",
       {{folder + "cpu", pressure("1000", "0")},
        {folder + "io", pressure("500000", "400000")},
        {folder + "irq", "full avg10=0.00 avg60=0.00 avg300=0.00 total=7\n"},
        {folder + "memory", "nothing\n"}},
       {{0, {}, ""},
        {1,
         {{folder + "cpu", pressure("251000", "0")},
          {folder + "io", pressure("1500100", "400000")}},
         "Pressure @0+1: cpu/some=250 io/some=1000 io/full=0 irq/full=0\n"},
        {2,
         {{folder + "cpu", kGone}, {folder + "irq", "full avg10=0.00"}},
         "Pressure @1+1: io/some=0 io/full=0\n"},
        {3,
         {{folder + "cpu", pressure("300000", "")}, {folder + "io", pressure("1500000", kHuge)}},
         ""},
        {4,
         {{folder + "cpu", pressure("400000", "")}, {folder + "io", pressure("3000000", "9")}},
         "Pressure @3+1: cpu/some=100 io/some=1000\n"},
        {5,
         {{folder + "io", pressure("3900000", "9")}},
         "Pressure @4+1: cpu/some=0 io/some=900 io/full=0\n"},
        {6,
         {{folder + "io", pressure("4900010", "9")}},
         "Pressure @5+1: cpu/some=0 io/some=1000 io/full=0\n"}},
       "Pressure: io/some=0.01\n"},
  };
}

FileTable interruptFiles(const std::string& interrupts, const std::string& softirqs) {
  return {{"/sys/devices/system/cpu/online", "0-1"},
          {"/proc/stat", "ctxt 5\n"},
          {"/proc/interrupts", interrupts},
          {"/proc/softirqs", softirqs}};
}

std::vector<Scenario> interruptScenarios() {
  const auto table = [](const std::string& rows) { return "       CPU0    CPU1    \n" + rows; };
  const std::string switches = "System Activity @";
  return {
      {"interrupts: sources of one CPU, of all and of none, a source that joins, one that is "
       "another device's, a wrap and a new beginning",
       "interrupts",
       interruptFiles(table("  5:  0  0  IO-APIC   5-edge      ACPI:Ged\n"
                            " 36: 10 20 PCI-MSIX-0000:00:02.0   1-edge      disk, other one\n"
                            "LOC: 4294967290 7   Local timer interrupts\nERR:   3\n"),
                      table("  TIMER: 100 200\n     HI: 0 0\n")),
       {{0, {}, ""},
        {1,
         {{"/proc/interrupts",
           table("  5:  0  1  IO-APIC   5-edge      ACPI:Ged\n"
                 " 36: 11 22 PCI-MSIX-0000:00:02.0   1-edge      disk, other one\n"
                 "LOC: 4 7   Local timer interrupts\nERR:   4\n")},
          {"/proc/softirqs", table("  TIMER: 105 200\n     HI: 0 2\n")}},
         switches +
             "0+1: /Context Switches=0\nInterrupt Sources @0+1: /ACPI:Ged (5)=1 /disk, other "
             "one (36)=3 /Local timer interrupts (LOC)=10 /ERR=1\n"
             "Deferred Work @0+1: /TIMER=5 /HI=2\n"
             "CPU Interrupts @0+1: CPU0/interrupts=11 CPU0/deferred work=5 "
             "CPU1/interrupts=3 CPU1/deferred work=2\n"},
        {2,
         {{"/proc/interrupts", table("  5:  0  1  IO-APIC   5-edge      ACPI:Ged\n"
                                     " 36:  1  2 PCI-MSIX-0000:00:02.0   1-edge      network\n"
                                     "LOC: 3 9   Local timer interrupts\nERR:\n")},
          {"/proc/softirqs", kGone}},
         switches + "1+1: /Context Switches=0\nInterrupt Sources @1+1: /ACPI:Ged (5)=0\n"
                    "CPU Interrupts @1+1: CPU0/interrupts=0 CPU1/interrupts=2\n"},
        {3,
         {{"/proc/interrupts",
           "       CPU1    \n 36: 5 PCI-MSIX-0000:00:02.0   1-edge  network\n"
           "LOC: 19   Local timer interrupts\n"}},
         switches + "2+1: /Context Switches=0\nInterrupt Sources @2+1: /Local timer interrupts "
                    "(LOC)=10 /network (36)=3\nCPU Interrupts @2+1: CPU1/interrupts=13\n"},
        {4,
         {{"/proc/interrupts", table("LOC: 7 20   Local timer interrupts\n")}},
         switches + "3+1: /Context Switches=0\nInterrupt Sources @3+1: /Local timer interrupts "
                    "(LOC)=5\nCPU Interrupts @3+1: CPU1/interrupts=1\n"}}},
  };
}

TEST(CounterFeaturesTest, Scenarios) {
  for (const auto& scenarios : {diskScenarios(), networkScenarios(), memoryScenarios(),
                                pressureScenarios(), interruptScenarios()}) {
    play(scenarios);
  }
}

TEST(CounterFeaturesTest, AbsentFeaturesTellWhy) {
  struct Row {
    const char* tag;
    FileTable files;
    const char* reason;
  };
  for (const Row& row :
       {Row{"disk", {}, "/proc/diskstats cannot be read: No such file or directory"},
        Row{"disk",
            {{kDisks, disk("sda", "1 1 1 1 1 1 1 1 1 1 1")}},
            "no disk in /proc/diskstats has been used"},
        Row{"network", {{kNetwork, ""}}, "/proc/net/dev cannot be read: No data available"},
        Row{"network",
            {{kNetwork, interfaces("lo: 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n")}},
            "no interface in /proc/net/dev has been used"},
        Row{"memory",
            {{kEvents, "pgfault 1\n"}},
            "/proc/meminfo cannot be read: No such file or directory"},
        Row{"memory", {{kMemory, "MemTotal: 5 kB\n"}}, "no sizes in /proc/meminfo"},
        Row{"pressure", {}, "no times below /proc/pressure: No such file or directory"},
        Row{"pressure",
            {{"/proc/pressure/cpu", "full avg10=0 total=0\n"}},
            "no times below /proc/pressure: No such file or directory"}}) {
    SCOPED_TRACE(row.tag);
    const SysTree tree(row.files);
    const FeatureDriver driver(row.tag, tree);
    EXPECT_EQ(driver.reason(), row.reason);
    EXPECT_TRUE(driver.feature().metrics().empty());
  }
}

TEST(CounterFeaturesTest, NamesWithoutEndStayWithinALimit) {
  const FileTable files{{kNetwork, interfaces("eth0: 1 1 0 0 0 0 0 0 1 1 0 0 0 0 0 0\n")}};
  const SysTree tree(files);
  FeatureDriver driver("network", tree);
  EXPECT_EQ(driver.sample(0), "");
  std::string lines;
  for (int i = 0; i < 3000; ++i) {
    lines += "veth" + std::to_string(i) + ": 1 1 0 0 0 0 0 0 1 1 0 0 0 0 0 0\n";
  }
  tree.write(kNetwork, interfaces(lines));
  EXPECT_EQ(driver.sample(1), "");
  const std::string text = driver.sample(2);
  const std::string line = text.substr(0, text.find('\n'));
  EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(line, '/')), 2 * (CounterTable::kMost - 1));
}

}  // namespace
}  // namespace tavrin
