// Features of devices: hardware monitors, batteries, runtime power management, wakeup sources,
// graphics.

#include <gtest/gtest.h>

#include <chrono>

#include "CollectSupport.h"
#include "hostcommon/Descriptions.h"
#include "tavrin/collect/CStateCounters.h"

namespace tavrin {
namespace {

const std::string kChip = "/sys/class/hwmon/hwmon";
const std::string kSupply = "/sys/class/power_supply/";
const std::string kBus = "/sys/bus/";
const std::string kToldCount = "/sys/kernel/uevent_seqnum";
const std::string kWakeup = "/sys/class/wakeup/wakeup";
const std::string kWakeupTable = "/sys/kernel/debug/wakeup_sources";
const std::string kCard = "/sys/class/drm/card";
const std::string kScaled = "/sys/class/devfreq/";
const std::string kLowPower = "/sys/devices/system/cpu/cpuidle/low_power_idle_";
const std::string kUncore = "/sys/devices/system/cpu/intel_uncore_frequency/";

/// The files of a folder.
FileTable below(const std::string& folder, const FileTable& files) {
  FileTable tree;
  for (const auto& [file, text] : files) tree[folder + file] = text;
  return tree;
}

FileTable joined(const std::vector<FileTable>& trees) {
  FileTable all;
  for (const FileTable& tree : trees) all.insert(tree.begin(), tree.end());
  return all;
}

std::vector<Scenario> sensorScenarios() {
  return {
      {"sensors: one value each, averages of power where there is no other; a fan that is off and "
       "an energy that began anew are gaps",
       "sensors",
       {{kChip + "0/name", "board\n"},
        {kChip + "0/fan1_input", "1200\n"},
        {kChip + "0/fan2_input", ""},
        {kChip + "0/fan2_label", "rear\n"},
        {kChip + "0/in0_input", "-1050\n"},
        {kChip + "0/in0_label", "Vcore\n"},
        {kChip + "0/curr1_input", "2500\n"},
        {kChip + "0/temp1_input", "40000\n"},
        {kChip + "0/power1_input", "15500000\n"},
        {kChip + "0/power1_average", "1\n"},
        {kChip + "0/power2_average", "250000\n"},
        {kChip + "0/energy1_input", "1000\n"}},
       {{0, {}, ""},
        {1,
         {{kChip + "0/fan2_input", "900\n"}, {kChip + "0/energy1_input", "5500\n"}},
         "Fan Speed @0+1: board fan1 (hwmon0)/Speed=1200\n"
         "Voltage @0+1: board Vcore (hwmon0)/Voltage=-1.05\n"
         "Current @0+1: board curr1 (hwmon0)/Current=2.5\n"
         "Sensor Power @0+1: board power1 (hwmon0)/Power=15.5 board power2 (hwmon0)/Power=0.25\n"
         "Sensor Energy @0+1: board energy1 (hwmon0)/Energy=4500\n"},
        {2,
         {{kChip + "0/fan1_input", "off\n"},
          {kChip + "0/in0_input", kGone},
          {kChip + "0/curr1_input", ""},
          {kChip + "0/power1_input", "99999999999999999999\n"},
          {kChip + "0/energy1_input", "3\n"}},
         "Fan Speed @1+1: board fan1 (hwmon0)/Speed=1200 board rear (hwmon0)/Speed=900\n"
         "Voltage @1+1: board Vcore (hwmon0)/Voltage=-1.05\n"
         "Current @1+1: board curr1 (hwmon0)/Current=2.5\n"
         "Sensor Power @1+1: board power1 (hwmon0)/Power=15.5 board power2 (hwmon0)/Power=0.25\n"},
        {3,
         {},
         "Fan Speed @2+1: board rear (hwmon0)/Speed=900\n"
         "Sensor Power @2+1: board power2 (hwmon0)/Power=0.25\n"
         "Sensor Energy @2+1: board energy1 (hwmon0)/Energy=0\n"}}},
      {"sensors: a monitor joins; another chip gets the number of one that is gone",
       "sensors",
       {{kChip + "3/name", "gpu\n"}, {kChip + "3/fan1_input", "700\n"}},
       {{0, {}, ""},
        {1,
         {{kChip + "10/name", "dock\n"}, {kChip + "10/fan1_input", "300\n"}},
         "Fan Speed @0+1: gpu fan1 (hwmon3)/Speed=700\n"},
        {2,
         {{kChip + "3/name", "nvme\n"}, {kChip + "3/fan1_input", "50\n"}},
         "Fan Speed @1+1: gpu fan1 (hwmon3)/Speed=700 dock fan1 (hwmon10)/Speed=300\n"},
        {3,
         {{kChip + "3/name", "gpu\n"}, {kChip + "3/fan1_input", "800\n"}},
         "Fan Speed @2+1: dock fan1 (hwmon10)/Speed=300 nvme fan1 (hwmon3)/Speed=50\n"},
        {4, {}, "Fan Speed @3+1: gpu fan1 (hwmon3)/Speed=800 dock fan1 (hwmon10)/Speed=300\n"}}},
  };
}

std::vector<Scenario> batteryScenarios() {
  const auto battery = [](const std::string& name, FileTable files) {
    files.insert({"type", "Battery\n"});
    return below(kSupply + name + "/", files);
  };
  FileTable charges = battery("BAT0", {{"current_now", "-2000000\n"},
                                       {"voltage_now", "12500000\n"},
                                       {"voltage_min_design", "11000000\n"},
                                       {"charge_now", "3000000\n"},
                                       {"status", "Discharging\n"}});
  charges.insert({kSupply + "AC/type", "Mains\n"});
  charges.insert({kSupply + "AC/voltage_now", "20000000\n"});
  const std::string bay = kSupply + "BAT1/";
  return {
      {"battery: power and energy of currents and charges; states are told when they change; a "
       "battery that is taken out is in no state, and joins again",
       "battery",
       charges,
       {{0, {}, ""},
        {1,
         {{kSupply + "BAT0/current_now", "1000000\n"}},
         "Battery Power @0+1: BAT0/Power=25\nBattery Energy @0+1: BAT0/Energy=33\n"
         "Battery Status @0+0: BAT0/State=Discharging\n"},
        {2,
         {{kSupply + "BAT0/status", "Charging\n"}, {kSupply + "BAT0/voltage_now", ""}},
         "Battery Power @1+1: BAT0/Power=12.5\nBattery Energy @1+1: BAT0/Energy=33\n"},
        {3,
         {{kSupply + "BAT0/status", kGone},
          {kSupply + "BAT0/charge_now", kGone},
          {kSupply + "BAT0/current_now", kGone},
          {kSupply + "BAT0/voltage_now", kGone}},
         "Battery Energy @2+1: BAT0/Energy=33\nBattery Status @2+0: BAT0/State=Charging\n"},
        {4,
         {{kSupply + "BAT0/status", "Full\n"}, {kSupply + "BAT0/charge_now", "3500000\n"}},
         "Battery Status @3+0: BAT0/State=unknown\n"},
        {5,
         {{kSupply + "BAT0/status", "on fire\n"}},
         "Battery Energy @4+1: BAT0/Energy=38.5\nBattery Status @4+0: BAT0/State=Full\n"},
        {6,
         {},
         "Battery Energy @5+1: BAT0/Energy=38.5\nBattery Status @5+0: BAT0/State=unknown\n"}}},
      {"battery: of a mouse; a second one is plugged in",
       "battery",
       battery("mouse_0", {{"capacity", "55\n"}, {"model_name", "Mouse\n"}, {"scope", "Device\n"}}),
       {{0, {}, ""},
        {1,
         {{bay + "type", "Battery\n"}, {bay + "capacity", "100\n"}, {bay + "energy_now", "5\n"}},
         "Battery Charge @0+1: Mouse (mouse_0)/Charge=55\n"},
        {2, {}, "Battery Charge @1+1: Mouse (mouse_0)/Charge=55 BAT1/Charge=100\n"}}},
      {"battery: others are looked for when the kernel has told of a device, or one was lost",
       "battery",
       joined({battery("BAT0", {{"capacity", "55\n"}}), {{kToldCount, "41\n"}}}),
       {{0, {}, ""},
        {1,
         {{bay + "type", "Battery\n"}, {bay + "capacity", "100\n"}},
         "Battery Charge @0+1: BAT0/Charge=55\n"},
        {2, {{kToldCount, "43\n"}}, "Battery Charge @1+1: BAT0/Charge=55\n"},
        {3,
         {{kSupply + "BAT0/capacity", ""}},
         "Battery Charge @2+1: BAT0/Charge=55 BAT1/Charge=100\n"},
        {4, {{kSupply + "BAT0/capacity", "54\n"}}, "Battery Charge @3+1: BAT1/Charge=100\n"},
        {5, {}, "Battery Charge @4+1: BAT0/Charge=54 BAT1/Charge=100\n"}}},
  };
}

/// A device's files of runtime power management: status, active and suspended time.
FileTable device(const std::string& path, const char* status, const char* active,
                 const char* suspended) {
  return below(kBus + path + "/power/", {{"runtime_status", status},
                                         {"runtime_active_time", active},
                                         {"runtime_suspended_time", suspended}});
}

std::vector<Scenario> deviceScenarios() {
  const std::string gpu = "pci/devices/0000:00:02.0";
  const std::string port = "usb/devices/1-1";
  const std::string added = "usb/devices/2-1";
  const auto times = [](const char* name, const char* active, const char* suspended) {
    return std::string(" ") + name + "/active=" + active + " " + name + "/suspended=" + suspended;
  };
  return {
      {"devices: those without runtime power management are left out; states are told when they "
       "change",
       "device-dstate",
       joined({device(gpu, "active\n", "5000\n", "0\n"),
               {{kBus + gpu + "/power_state", "D0\n"}},
               device(port, "suspended\n", "70\n", "900\n"),
               device("pci/devices/0000:00:1f.0", "unsupported\n", "0\n", "0\n"),
               device("usb/devices/usb1", "suspended\n", "7\n", "7\n"),
               {{kBus + "usb/devices/usb1/power/runtime_enabled", "disabled\n"}},
               device("usb/devices/1-1:1.0", "active\n", "", "0\n")}),
       {{0, {}, ""},
        {1,
         joined({device(gpu, "suspended\n", "5400\n", "600\n"),
                 {{kBus + gpu + "/power_state", "D3hot\n"}},
                 device(port, "suspended\n", "70\n", "1900\n")}),
         "Device D-State @0+1:" + times("pci 0000:00:02.0", "400", "600") +
             times("usb 1-1", "0", "1000") +
             "\nDevice Status @0+0: pci 0000:00:02.0/State=active usb 1-1/State=suspended\n"
             "PCI D-State @0+0: pci 0000:00:02.0/State=D0\n"},
        {2,
         joined({device(gpu, "suspended\n", "5400\n", "1600\n"),
                 device(port, "suspended\n", "3\n", "2900\n"),
                 device(added, "active\n", "9\n", "0\n")}),
         "Device D-State @1+1:" + times("pci 0000:00:02.0", "0", "1000") +
             "\nDevice Status @1+0: pci 0000:00:02.0/State=suspended\n"
             "PCI D-State @1+0: pci 0000:00:02.0/State=D3hot\n"},
        {3,
         joined({device(gpu, kGone, kGone, kGone), device(port, "error\n", "3\n", "2900\n"),
                 device(added, "active\n", "1009\n", "0\n")}),
         "Device D-State @2+1:" + times("usb 1-1", "0", "0") + times("usb 2-1", "1000", "0") +
             "\nDevice Status @2+0: usb 2-1/State=active\n"},
        {4, device(gpu, "active\n", "4\n", "0\n"),
         "Device D-State @3+1:" + times("usb 1-1", "0", "0") + times("usb 2-1", "0", "0") +
             "\nDevice Status @3+0: pci 0000:00:02.0/State=unknown usb 1-1/State=error\n"
             "PCI D-State @3+0: pci 0000:00:02.0/State=unknown\n"},
        {5, device(gpu, "active\n", "1004\n", "0\n"),
         "Device D-State @4+1:" + times("pci 0000:00:02.0", "1000", "0") +
             times("usb 1-1", "0", "0") + times("usb 2-1", "0", "0") +
             "\nDevice Status @4+0: pci 0000:00:02.0/State=active\n"
             "PCI D-State @4+0: pci 0000:00:02.0/State=D3hot\n"}}},
      {"devices: the states are read when the times tell of a change, or once a second",
       "device-dstate",
       joined({device(gpu, "active\n", "5000\n", "0\n"), {{kBus + gpu + "/power_state", "D0\n"}}}),
       {{0, {}, ""},
        {0.25,
         joined({device(gpu, "suspending\n", "5250\n", "0\n"),
                 {{kBus + gpu + "/power_state", "D1\n"}}}),
         "Device D-State @0+0.25:" + times("pci 0000:00:02.0", "250", "0") +
             "\nDevice Status @0+0: pci 0000:00:02.0/State=active\n"
             "PCI D-State @0+0: pci 0000:00:02.0/State=D0\n"},
        {0.5, device(gpu, "suspended\n", "5400\n", "100\n"),
         "Device D-State @0.25+0.25:" + times("pci 0000:00:02.0", "150", "100") + "\n"},
        {0.75, device(gpu, "suspended\n", "5400\n", "350\n"),
         "Device D-State @0.5+0.25:" + times("pci 0000:00:02.0", "0", "250") +
             "\nDevice Status @0.5+0: pci 0000:00:02.0/State=suspended\n"
             "PCI D-State @0.5+0: pci 0000:00:02.0/State=D1\n"},
        {1,
         joined({device(gpu, "error\n", "5400\n", "600\n"),
                 {{kBus + gpu + "/power_state", "D3cold\n"}}}),
         "Device D-State @0.75+0.25:" + times("pci 0000:00:02.0", "0", "250") + "\n"},
        {1.75, device(gpu, "error\n", "5400\n", "1350\n"),
         "Device D-State @1+0.75:" + times("pci 0000:00:02.0", "0", "750") + "\n"},
        {2, device(gpu, "error\n", "5400\n", "1600\n"),
         "Device D-State @1.75+0.25:" + times("pci 0000:00:02.0", "0", "250") +
             "\nDevice Status @1.75+0: pci 0000:00:02.0/State=error\n"
             "PCI D-State @1.75+0: pci 0000:00:02.0/State=D3cold\n"}}},
  };
}

/// Counts: activations, events, wakeups, expirations, as many each; times in ms.
FileTable wakeupSource(unsigned int number, const char* name, const char* counts,
                       const char* heldTime, const char* totalTime, const char* lastChange) {
  return below(kWakeup + std::to_string(number) + "/", {{"name", name},
                                                        {"active_count", counts},
                                                        {"event_count", counts},
                                                        {"wakeup_count", counts},
                                                        {"expire_count", counts},
                                                        {"active_time_ms", heldTime},
                                                        {"total_time_ms", totalTime},
                                                        {"last_change_ms", lastChange}});
}

std::string wakeupEvents(const std::string& name, const char* count) {
  std::string text;
  for (const char* const counter : {"activations", "events", "wakeups", "expirations"}) {
    text += " " + name + "/" + counter + "=" + count;
  }
  return text;
}

std::vector<Scenario> wakeupScenarios() {
  return {
      {"wakeup sources: what is held grows though nothing changes; one joins when it is active "
       "first, another one gets the number of one that is gone",
       "wakeup",
       joined({wakeupSource(1, "lid", "3", "50", "70", "10"),
               wakeupSource(2, "lid", "0", "0", "0", "0"),
               wakeupSource(3, "rtc", "5", "0", "9", "4")}),
       {{0, {}, ""},
        {1,
         joined({wakeupSource(1, "lid", "3", "1050", "1070", "10"),
                 wakeupSource(2, "lid", "1", "0", "25", "99"),
                 wakeupSource(3, "rtc", "5", "0", "9", "4")}),
         "Wakeup Events @0+1:" + wakeupEvents("lid (wakeup1)", "0") +
             wakeupEvents("lid (wakeup2)", "1") + wakeupEvents("rtc (wakeup3)", "0") +
             "\nWakeup Source Time @0+1: lid (wakeup1)/active=1000 rtc (wakeup3)/active=0 lid "
             "(wakeup2)/active=25\n"
             "Wakelocks @0+0: lid (wakeup1)/State=held rtc (wakeup3)/State=released\n"},
        {2,
         joined({wakeupSource(1, "lid", "4", "0", "1270", "1210"),
                 wakeupSource(2, "lid", "2", "0", "125", "1500"),
                 wakeupSource(3, kGone, kGone, kGone, kGone, kGone)}),
         "Wakeup Events @1+1:" + wakeupEvents("lid (wakeup1)", "1") +
             wakeupEvents("lid (wakeup2)", "1") +
             "\nWakeup Source Time @1+1: lid (wakeup1)/active=200 lid (wakeup2)/active=100\n"
             "Wakelocks @1+0: lid (wakeup2)/State=released\n"},
        {3, wakeupSource(3, "usb", "9", "8", "8", "2500"),
         "Wakeup Events @2+1:" + wakeupEvents("lid (wakeup1)", "0") +
             wakeupEvents("lid (wakeup2)", "0") +
             "\nWakeup Source Time @2+1: lid (wakeup1)/active=0 lid (wakeup2)/active=0 usb "
             "(wakeup3)/active=8\n"
             "Wakelocks @2+0: lid (wakeup1)/State=released rtc (wakeup3)/State=unknown\n"},
        {4, wakeupSource(3, "usb", "9", "1008", "1008", "2500"),
         "Wakeup Events @3+1:" + wakeupEvents("lid (wakeup1)", "0") +
             wakeupEvents("lid (wakeup2)", "0") + wakeupEvents("usb (wakeup3)", "0") +
             "\nWakeup Source Time @3+1: lid (wakeup1)/active=0 lid (wakeup2)/active=0 usb "
             "(wakeup3)/active=1000\nWakelocks @3+0: usb (wakeup3)/State=held\n"}}},
      {"wakeup sources of the debug file system: names with blanks, one name twice, damaged lines",
       "wakeup",
       {{"/sys/power/wakeup_count", "5\n"},
        {kWakeupTable,
         "name\t\tactive_count\tevent_count\twakeup_count\texpire_count\tactive_since\t"
         "total_time\tmax_time\tlast_change\tprevent_suspend_time\n"
         "Power Button\t2\t\t2\t\t2\t\t2\t\t0\t\t40\t\t0\t\t0\t\t0\n"
         "lid         \t1\t\t1\t\t1\t\t1\t\t0\t\t10\t\t0\t\t0\t\t0\n"
         "lid         \t1\t\t1\t\t1\t\t1\t\t0\t\t20\t\t0\t\t0\t\t0\n"}},
       {{0, {}, ""},
        {1,
         {{kWakeupTable,
           "Power Button\t3\t3\t3\t3\t7\t47\t0\t0\t0\n9 9 9 9 9 9 9 9 9\nodd 1 1 1 1 1 -1 1 1 1\n"
           "lid\t1\t1\t1\t1\t0\t10\t0\t0\t0\nlid\t3\t3\t3\t3\t0\t25\t0\t0\t0"}},
         "Wakeup Events @0+1:" + wakeupEvents("Power Button", "1") + wakeupEvents("lid", "2") +
             "\nWakeup Source Time @0+1: Power Button/active=7 lid/active=5\n"
             "Wakelocks @0+0: Power Button/State=released lid/State=released\n"},
        {2, {{kWakeupTable, kGone}}, "Wakelocks @1+0: Power Button/State=held\n"},
        {3, {}, "Wakelocks @2+0: Power Button/State=unknown lid/State=unknown\n"}}},
  };
}

std::string transitions(const std::string& first, const std::string& second) {
  return "     From  :   To\n           : 200000000 400000000   time(ms)\n"
         "*200000000:         0         5 " +
         first + "\n 400000000:         5         0 " + second + "\nTotal transition : 10\n";
}

std::vector<Scenario> graphicsScenarios() {
  const std::string unit = kCard + "0/gt/gt0/";
  return {
      {"graphics: units of a card, load; outputs of a card are none; RC6 began anew",
       "gpu",
       {{unit + "rps_cur_freq_mhz", "300\n"},
        {unit + "rps_act_freq_mhz", "0\n"},
        {unit + "rc6_residency_ms", "1000\n"},
        {kCard + "0/gt_cur_freq_mhz", "1\n"},
        {kCard + "0-HDMI-A-1/gt_cur_freq_mhz", "1\n"},
        {kCard + "1/device/gpu_busy_percent", "17\n"}},
       {{0, {}, ""},
        {1,
         {{unit + "rc6_residency_ms", "1750\n"}, {kCard + "1/device/gpu_busy_percent", ""}},
         "GPU Frequency @0+1: card0/gt0/requested=300 card0/gt0/actual=0\n"
         "GPU C-State @0+1: card0/gt0/RC6=750\nGPU Load @0+1: card1/GPU=17\n"},
        {2,
         {{unit + "rc6_residency_ms", "3\n"}, {kCard + "1/device/gpu_busy_percent", "18\n"}},
         "GPU Frequency @1+1: card0/gt0/requested=300 card0/gt0/actual=0\n"},
        {3,
         {{unit + "rc6_residency_ms", "1003\n"}},
         "GPU Frequency @2+1: card0/gt0/requested=300 card0/gt0/actual=0\n"
         "GPU C-State @2+1: card0/gt0/RC6=1000\nGPU Load @2+1: card1/GPU=18\n"},
        {4,
         {},
         "GPU Frequency @3+1: card0/gt0/requested=300 card0/gt0/actual=0\n"
         "GPU C-State @3+1: card0/gt0/RC6=0\nGPU Load @3+1: card1/GPU=18\n"}}},
      {"devices with frequency scaling: a table that is damaged or of other frequencies is a gap",
       "gpu",
       {{kScaled + "memory/cur_freq", "200500000\n"},
        {kScaled + "memory/trans_stat", transitions("100", "900")},
        {kScaled + "npu/trans_stat", "Not Supported.\n"}},
       {{0, {}, ""},
        {1,
         {{kScaled + "memory/trans_stat", transitions("500", "1500")}},
         "Device Frequency @0+1: memory/Frequency=200.5\n"
         "Device Frequency Time @0+1: memory/200 MHz=400 memory/400 MHz=600\n"},
        {2,
         {{kScaled + "memory/trans_stat", transitions("1500", "oops")}},
         "Device Frequency @1+1: memory/Frequency=200.5\n"},
        {3,
         {{kScaled + "memory/trans_stat", transitions("1600", "2000")}},
         "Device Frequency @2+1: memory/Frequency=200.5\n"},
        {4,
         {{kScaled + "memory/trans_stat", transitions("1600", "3000")}},
         "Device Frequency @3+1: memory/Frequency=200.5\n"
         "Device Frequency Time @3+1: memory/200 MHz=0 memory/400 MHz=1000\n"}}},
      {"low power idle: in steps, which may be of several intervals; one began anew",
       "package-idle",
       {{kLowPower + "cpu_residency_us", "5000000\n"},
        {kLowPower + "system_residency_us", "1000000\n"}},
       {{0, {}, ""},
        {1,
         {{kLowPower + "cpu_residency_us", "5800000\n"}},
         "Low Power Idle @0+1: All processors/low power idle=800 Machine/low power idle=0\n"},
        {2,
         {{kLowPower + "cpu_residency_us", "7000000\n"}, {kLowPower + "system_residency_us", ""}},
         "Low Power Idle @1+1: All processors/low power idle=1000\n"},
        {3,
         {{kLowPower + "cpu_residency_us", "0\n"}, {kLowPower + "system_residency_us", "7\n"}},
         ""}},
       "Low Power Idle: All processors/low power idle=200\n"},
      {"uncore frequencies: of dies and of parts of them",
       "uncore-freq",
       joined({{{kUncore + "package_00_die_01/current_freq_khz", "2400000\n"}},
               {{kUncore + "package_00_die_01/max_freq_khz", "9\n"}},
               below(kUncore + "uncore02/", {{"current_freq_khz", "800500\n"},
                                             {"package_id", "1\n"},
                                             {"domain_id", "0\n"},
                                             {"fabric_cluster_id", "2\n"}})}),
       {{0, {}, ""},
        {1,
         {{kUncore + "package_00_die_01/current_freq_khz", ""}},
         "Uncore Frequency @0+1: package_00_die_01/Frequency=2400 uncore02 (package 1, domain 0, "
         "cluster 2)/Frequency=800.5\n"},
        {2,
         {},
         "Uncore Frequency @1+1: uncore02 (package 1, domain 0, cluster 2)/Frequency=800.5\n"}}},
  };
}

TEST(DeviceFeatures, Sensors) {
  play(sensorScenarios());
}

TEST(DeviceFeatures, Batteries) {
  play(batteryScenarios());
}

TEST(DeviceFeatures, RuntimePowerManagement) {
  play(deviceScenarios());
}

TEST(DeviceFeatures, WakeupSources) {
  play(wakeupScenarios());
}

TEST(DeviceFeatures, GraphicsAndOtherFrequencies) {
  play(graphicsScenarios());
}

// A tree whose counter of a package's state is this machine's timestamp counter: all of the time.
TEST(DeviceFeatures, CountersOfSleepAreScaledToTime) {
  const SysRoot machine;
  const std::string sources = "/sys/bus/event_source/devices/";
  const std::string type = machine.readLine(sources + "msr/type");
  const std::string event = machine.readLine(sources + "msr/events/tsc");
  const SysTree tree({{"/sys/devices/system/cpu/online", "0\n"},
                      {sources + "msr/type", type},
                      {sources + "msr/events/tsc", event},
                      {sources + "cstate_pkg/type", type},
                      {sources + "cstate_pkg/cpumask", "0\n"},
                      {sources + "cstate_pkg/events/c6-residency", event},
                      {sources + "cstate_pkg/events/c6-residency.unit", "ns\n"}});
  const SysRoot root(tree.folder());
  const CpuEntities cpus(root);
  EXPECT_EQ(CStateCounters("cstate_core", "Core").open(root, cpus), ENOENT);
  CStateCounters counters("cstate_pkg", "Package");
  const int error = counters.open(root, cpus);
  if (error != 0) GTEST_SKIP() << "no timestamp counter: " << error;
  const pwr::MetricDescription* const metric = pwr::createMetric(counters.describe());
  SampleBatch batch;
  for (unsigned long long now : {0ULL, kTicksPerSecond}) {
    counters.sample(now, cpus, metric, batch);
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(20);
    while (std::chrono::steady_clock::now() < end) continue;
  }
  ASSERT_EQ(batch.end() - batch.begin(), 1);
  const auto& elements = batch.begin()->getData().elements;
  ASSERT_EQ(elements.size(), 1U);
  EXPECT_EQ(elements[0].getEntity()->getName(), "Package0");
  EXPECT_EQ(elements[0].getDescriptor()->getName(), "C6");
  double ticks = 0;
  elements[0].getValue()->toReal(ticks);
  EXPECT_GT(ticks, 0.95 * static_cast<double>(kTicksPerSecond));
}

TEST(DeviceFeatures, AbsenceIsExplained) {
  const SysTree tree({{kChip + "0/temp1_input", "40000\n"},
                      {kChip + "0/energy1_input", "0\n"},
                      {kSupply + "AC/type", "Mains\n"},
                      {kSupply + "BAT0/type", "Battery\n"},
                      {kBus + "pci/devices/0000:00:1f.0/power/runtime_status", "unsupported\n"},
                      {kWakeup + "0/name", "lid\n"},
                      {kCard + "0/device/gpu_busy_percent", "busy\n"},
                      {kScaled + "npu/trans_stat", "Not Supported.\n"},
                      {kUncore + "package_00_die_00/current_freq_khz", ""}});
  const std::pair<const char*, const char*> cases[] = {
      {"sensors", "no fans, voltages, currents, power or energy below /sys/class/hwmon"},
      {"battery", "no batteries below /sys/class/power_supply"},
      {"device-dstate", "no devices below /sys/bus have runtime power management"},
      {"wakeup",
       "no wakeup source below /sys/class/wakeup or in /sys/kernel/debug/wakeup_sources has been "
       "active"},
      {"package-idle",
       "no counters cstate_* of this machine below /sys/bus/event_source/devices, no "
       "low_power_idle_* below /sys/devices/system/cpu/cpuidle"},
      {"gpu",
       "no frequencies, RC6 times or load of graphics below /sys/class/drm, no frequencies below "
       "/sys/class/devfreq"},
      {"uncore-freq",
       "no readable frequencies below /sys/devices/system/cpu/intel_uncore_frequency"},
  };
  for (const auto& [tag, reason] : cases) EXPECT_EQ(FeatureDriver(tag, tree).reason(), reason);
}

}  // namespace
}  // namespace tavrin
