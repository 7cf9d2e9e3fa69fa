// Features of devices: hardware monitors, batteries.

#include <gtest/gtest.h>

#include "CollectSupport.h"

namespace tavrin {
namespace {

const std::string kChip = "/sys/class/hwmon/hwmon";
const std::string kSupply = "/sys/class/power_supply/";

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
    FileTable tree{{kSupply + name + "/type", "Battery\n"}};
    for (const auto& [file, text] : files) tree[kSupply + name + "/" + file] = text;
    return tree;
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
  };
}

TEST(DeviceFeatures, Sensors) {
  play(sensorScenarios());
}

TEST(DeviceFeatures, Batteries) {
  play(batteryScenarios());
}

TEST(DeviceFeatures, AbsenceIsExplained) {
  const SysTree tree({{kChip + "0/temp1_input", "40000\n"},
                      {kChip + "0/energy1_input", "0\n"},
                      {kSupply + "AC/type", "Mains\n"},
                      {kSupply + "BAT0/type", "Battery\n"}});
  const std::pair<const char*, const char*> cases[] = {
      {"sensors", "no fans, voltages, currents, power or energy below /sys/class/hwmon"},
      {"battery", "no batteries below /sys/class/power_supply"},
  };
  for (const auto& [tag, reason] : cases) EXPECT_EQ(FeatureDriver(tag, tree).reason(), reason);
}

}  // namespace
}  // namespace tavrin
