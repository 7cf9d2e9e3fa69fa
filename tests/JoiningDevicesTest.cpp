// Thermal zones and the like, which come and go with their drivers while they are measured.

#include <gtest/gtest.h>

#include "CollectSupport.h"

namespace tavrin {
namespace {

const std::string kThermal = "/sys/class/thermal/";
const std::string kZone = kThermal + "thermal_zone";
const std::string kCooling = kThermal + "cooling_device";
const std::string kMonitor = "/sys/class/hwmon/hwmon";
const std::string kUncore = "/sys/devices/system/cpu/intel_uncore_frequency/";
const std::string kPower = "/sys/class/powercap/";

FileTable zone(const std::string& number, const std::string& type, const std::string& temperature) {
  return {{kZone + number + "/type", type}, {kZone + number + "/temp", temperature}};
}

FileTable cooling(const std::string& number, const std::string& type, const std::string& state) {
  return {{kCooling + number + "/type", type}, {kCooling + number + "/cur_state", state}};
}

FileTable uncore(const std::string& number, const std::string& package,
                 const std::string& kilohertz) {
  const std::string folder = kUncore + "uncore" + number + "/";
  return {{folder + "package_id", package}, {folder + "current_freq_khz", kilohertz}};
}

FileTable power(const std::string& folder, const std::string& name, const std::string& energy) {
  return {{kPower + folder + "/name", name}, {kPower + folder + "/energy_uj", energy}};
}

FileTable both(FileTable first, const FileTable& second) {
  first.insert(second.begin(), second.end());
  return first;
}

TEST(JoiningDevices, ThermalZonesAndMonitors) {
  const std::string board = " board (thermal_zone0)/Temperature=1";
  const std::string pump = " pump (thermal_zone1)/Temperature=2";
  const std::string disk = " nvme temp1 (hwmon5)/Temperature=3";
  const std::string fan = " fan (thermal_zone0)/Temperature=9";
  const std::string card = " gpu temp1 (hwmon5)/Temperature=4";
  const std::string monitor = kMonitor + "5/";
  play({{"one joins; another one gets the number of one that is gone",
         "thermal",
         both(zone("0", "board", "1000"), {{"/sys/kernel/uevent_seqnum", "41"}}),
         {{0, {}, ""},
          {1,
           both(zone("1", "pump", "2000"), {{monitor + "name", "nvme"},
                                            {monitor + "temp1_input", "3000"},
                                            {"/sys/kernel/uevent_seqnum", "43"}}),
           "Temperature @0+1:" + board + "\n"},
          {2, zone("0", kGone, kGone), "Temperature @1+1:" + board + pump + disk + "\n"},
          {2.5, {}, "Temperature @2+0.5:" + pump + disk + "\n"},
          {2.6, zone("0", "fan", "9000"), "Temperature @2.5+0.1:" + pump + disk + "\n"},
          {3, {}, "Temperature @2.6+0.4:" + pump + disk + "\n"},
          {4,
           {{monitor + "name", "gpu"}, {monitor + "temp1_input", "4000"}},
           "Temperature @3+1:" + pump + fan + "\n"},
          {5, zone("0", kGone, kGone), "Temperature @4+1:" + pump + fan + card + "\n"},
          {5.5, {}, "Temperature @5+0.5:" + pump + card + "\n"},
          {6, zone("0", "board", "1000"), "Temperature @5.5+0.5:" + pump + card + "\n"},
          {7, {}, "Temperature @6+1:" + board + pump + card + "\n"}}}});
}

TEST(JoiningDevices, CoolingDevices) {
  const std::string processor = " Processor (cooling_device1)/State=";
  play({{"one joins; another one gets the number of one that is gone",
         "throttle",
         cooling("0", "Fan", "0"),
         {{0, {}, ""},
          {1, cooling("1", "Processor", "2"), "Cooling @0+0: Fan (cooling_device0)/State=0\n"},
          {2, {{kCooling + "1/cur_state", kGone}}, "Cooling @1+0:" + processor + "2\n"},
          {2.5, {}, "Cooling @2+0:" + processor + "unknown\n"},
          {2.6, cooling("1", "Lamp", "5"), ""},
          {3, {}, ""},
          {4, {}, "Cooling @3+0: Lamp (cooling_device1)/State=5\n"}}}});
}

TEST(JoiningDevices, UncoresAndPowerZones) {
  const std::string first = " uncore00 (package 0)/Frequency=1";
  const std::string second = " uncore01 (package 1)/Frequency=2";
  play({{"those of a package that comes online",
         "uncore-freq",
         uncore("00", "0", "1000"),
         {{0, {}, ""},
          {1, uncore("01", "1", "2000"), "Uncore Frequency @0+1:" + first + "\n"},
          {2, uncore("00", kGone, kGone), "Uncore Frequency @1+1:" + first + second + "\n"},
          {3, {}, "Uncore Frequency @2+1:" + second + "\n"}}},
        {"a part joins, and a zone that has the name of another one, which stays what it is",
         "energy",
         power("rapl:0", "package-0", "1000"),
         {{0, {}, ""},
          {1, both(power("rapl:0:0", "core", "70000"), power("rapl:1", "package-0", "5000")),
           "Energy @0+1: package-0/Energy=0\n"},
          {2,
           {{kPower + "rapl:0/energy_uj", "3000"},
            {kPower + "rapl:0:0/energy_uj", "74000"},
            {kPower + "rapl:1/energy_uj", "6000"}},
           "Energy @1+1: package-0/Energy=2 package-0/core/Energy=4 package-0 "
           "(rapl:1)/Energy=1\n"},
          {3,
           {{kPower + "rapl:1/energy_uj", kGone}},
           "Energy @2+1: package-0/Energy=0 package-0/core/Energy=0\n"}}}});
}

}  // namespace
}  // namespace tavrin
