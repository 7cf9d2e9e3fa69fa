#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "ProcessTree.h"
#include "tavrin/doctor/Diagnosis.h"
#include "tavrin/doctor/DoctorReport.h"

namespace tavrin {

namespace {

namespace fs = std::filesystem;
using State = FeatureProbe::State;

/// Takes root's rights away as long as it lives, where there are some.
class OrdinaryUser {
 public:
  OrdinaryUser() : isRoot_(geteuid() == 0) {
    if (isRoot_ && seteuid(65534) != 0) std::abort();
  }
  ~OrdinaryUser() {
    if (isRoot_ && seteuid(0) != 0) std::abort();
  }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;

 private:
  const bool isRoot_;
};

/// A tree in which `closed` can be neither read nor, a folder, looked into.
class GuardedTree : public ProcessTree {
 public:
  GuardedTree(const FileTable& files, std::vector<std::string> closed)
      : ProcessTree(files), closed_(std::move(closed)) {
    fs::permissions(folder(), fs::perms(0755));
    for (const std::string& path : closed_) fs::permissions(folder() + path, fs::perms::none);
  }
  ~GuardedTree() {
    for (const std::string& path : closed_) fs::permissions(folder() + path, fs::perms(0755));
  }
  GuardedTree(const GuardedTree&) = delete;
  GuardedTree& operator=(const GuardedTree&) = delete;

 private:
  const std::vector<std::string> closed_;
};

constexpr const char* kZone = "/sys/class/powercap/intel-rapl:";

FileTable energyFiles() {
  return {{kZone + std::string("0/name"), "package-0\n"},
          {kZone + std::string("0/energy_uj"), "1000\n"},
          {kZone + std::string("0:0/name"), "core\n"},
          {kZone + std::string("0:0/energy_uj"), "500\n"}};
}

std::vector<FeatureFinding> examineAsUser(const SysTree& tree) {
  const OrdinaryUser user;
  return examineFeatures(SysRoot(tree.folder()));
}

const FeatureFinding& findingOf(const std::vector<FeatureFinding>& findings,
                                const std::string& tag) {
  const auto found = std::ranges::find(findings, tag, &FeatureFinding::tag);
  if (found == findings.end()) std::abort();
  return *found;
}

Check checkOf(const std::vector<Check>& checks, const std::string& name) {
  const auto found = std::ranges::find(checks, name, &Check::name);
  return found == checks.end() ? Check{"", false, "missing"} : *found;
}

}  // namespace

TEST(DoctorTest, TellsWhatTheMachineLacksFromWhatTheUserMayNot) {
  const std::string package = kZone + std::string("0/energy_uj");
  const std::string core = kZone + std::string("0:0/energy_uj");
  const std::string temperature = "/sys/class/thermal/thermal_zone0/temp";
  const FileTable heat{{temperature, "40000\n"},
                       {"/sys/class/thermal/thermal_zone0/type", "soc\n"}};
  const FileTable wakeups{{"/sys/power/wakeup_count", "5\n"},
                          {"/sys/kernel/debug/wakeup_sources", "name\nlid 1 1 0 0 0 5 5 9 0\n"}};
  const FileTable sleepless{{"/sys/kernel/debug/clk/clk_summary", ""}};
  const FileTable stat{{"/proc/stat", "cpu  1 2 3 4\ncpu0 1 0 5 9 0 0 0 0 0 0\nctxt 7\n"},
                       {"/sys/devices/system/cpu/online", "0\n"}};
  const FileTable monitor{{"/sys/class/hwmon/hwmon0/name", "chip\n"},
                          {"/sys/class/hwmon/hwmon0/fan1_input", "900\n"},
                          {"/sys/class/hwmon/hwmon0/fan2_input", "800\n"}};
  const struct {
    const char* feature;
    FileTable files;
    std::vector<std::string> closed;
    State state;
    const char* right;
  } cases[] = {
      {"energy", {}, {}, State::Absent, ""},
      {"energy", energyFiles(), {}, State::Works, ""},
      {"energy", energyFiles(), {core}, State::Partial, "Energy counters"},
      {"energy", energyFiles(), {package, core}, State::Refused, "Energy counters"},
      {"process-energy", energyFiles(), {package, core}, State::Refused, "Energy counters"},
      {"thermal", heat, {}, State::Works, ""},
      {"thermal", heat, {temperature}, State::Refused, "Other files"},
      {"sensors", monitor, {"/sys/class/hwmon/hwmon0/fan2_input"}, State::Partial, "Other files"},
      {"wakeup", wakeups, {}, State::Works, ""},
      {"wakeup", wakeups, {"/sys/kernel/debug"}, State::Refused, "Debug files"},
      {"wakeup", sleepless, {"/sys/kernel/debug"}, State::Absent, ""},
      {"cpu-time", stat, {}, State::Works, ""},
      {"cpu-time", stat, {"/proc/stat"}, State::Refused, "Other files"},
      {"sched-trace", {}, {}, State::Absent, ""},
  };
  for (const auto& each : cases) {
    const GuardedTree tree(each.files, each.closed);
    const auto findings = examineAsUser(tree);
    const FeatureProbe& probe = findingOf(findings, each.feature).probe;
    const std::string name = std::string(each.feature) + ": " + probe.explanation();
    EXPECT_EQ(probe.state(), each.state) << name;
    const auto missing = probe.missing();
    ASSERT_EQ(missing.size(), *each.right == '\0' ? 0 : 1) << name;
    if (missing.empty()) continue;
    EXPECT_STREQ(missing.front()->name, each.right);
    EXPECT_NE(probe.explanation().find(missing.front()->needs), std::string::npos) << name;
    EXPECT_TRUE(std::ranges::count(each.closed, probe.refusals.front().what) > 0 ||
                probe.refusals.front().what.starts_with(each.closed.front()))
        << probe.refusals.front().what;
  }
}

TEST(DoctorTest, WhoCannotSeeTheFirstProcessSeesOnlyHisOwn) {
  for (const bool isHidden : {false, true}) {
    const GuardedTree tree({}, {});
    if (!isHidden) tree.put({.pid = 1, .name = "init", .ran = 5});
    tree.put({.pid = 77, .name = "own", .ran = 9});
    const auto findings = examineAsUser(tree);
    const FeatureProbe& probe = findingOf(findings, "process").probe;
    EXPECT_EQ(probe.state(), isHidden ? State::Partial : State::Works);
    EXPECT_EQ(probe.missing().size(), isHidden ? 1 : 0);
    for (const Right* right : probe.missing()) EXPECT_STREQ(right->name, "Processes of others");
  }
}

TEST(DoctorTest, TheDocumentationExplainsEveryRight) {
  const std::string page = readFile(PW_TEST_DATA "/../../docs/permissions.md");
  for (const Right& right : rights()) {
    EXPECT_NE(page.find(std::string("\n## ") + right.name + "\n"), std::string::npos) << right.name;
    for (const char* const command : right.recipe) {
      EXPECT_NE(page.find(command), std::string::npos) << command;
    }
  }
}

TEST(DoctorTest, ChecksTellWhatBearsOnMeasuring) {
  const std::string cpu = "/sys/devices/system/cpu/";
  const std::string clock = "/sys/devices/system/clocksource/clocksource0/current_clocksource";
  const struct {
    const char* check;
    FileTable files;
    bool isGood;
    const char* text;
  } cases[] = {
      {"clock source", {{clock, "tsc\n"}}, true, "tsc"},
      {"clock source", {{clock, "hpet\n"}}, false, "hpet: slow"},
      {"cpuidle driver", {{cpu + "cpuidle/current_driver", "none\n"}}, false, "none"},
      {"cpuidle driver",
       {{cpu + "cpuidle/current_driver", "intel_idle\n"},
        {cpu + "cpuidle/current_governor", "menu\n"}},
       true,
       "intel_idle, governor menu"},
      {"CPU frequency", {}, false, "not visible"},
      {"CPU frequency",
       {{cpu + "cpufreq/policy0/scaling_driver", "amd-pstate\n"}},
       true,
       "visible, driver amd-pstate"},
      {"virtual machine", {{"/proc/cpuinfo", "flags\t\t: fpu hypervisor lahf\n"}}, false, "yes"},
      {"virtual machine", {{"/proc/cpuinfo", "flags\t\t: fpu lahf\n"}}, true, "no"},
      {"container", {{"/.dockerenv", "x"}}, true, "marked by /.dockerenv"},
      {"container",
       {{"/proc/self/mounts", "sysfs /sys sysfs ro,nosuid 0 0\n"}},
       false,
       "read-only"},
      {"tracefs", {{"/proc/self/mounts", "x /sys/kernel/tracing tmpfs rw 0 0\n"}}, false, "not"},
      {"tracefs",
       {{"/proc/self/mounts", "x /sys/kernel/tracing tracefs rw,uid=1000 0 0\n"}},
       true,
       "of the user 1000"},
      {"processes",
       {{"/proc/self/mounts", "proc /proc proc rw,hidepid=invisible 0 0\n"}},
       false,
       "hidepid=invisible"},
      {"perf_event_paranoid",
       {{"/proc/sys/kernel/perf_event_paranoid", "-1\n"}},
       true,
       "-1: every"},
      {"perf_event_paranoid", {{"/proc/sys/kernel/perf_event_paranoid", "3\n"}}, false, "nothing"},
      {"kernel lockdown",
       {{"/sys/kernel/security/lockdown", "none integrity [confidentiality]\n"}},
       false,
       "nobody may trace"},
      {"kernel lockdown", {{"/sys/kernel/security/lockdown", "[none] integrity\n"}}, true, "none"},
      {"CPU counters", {{"/sys/bus/event_source/devices/cpu_core/type", "4\n"}}, true, "there"},
  };
  for (const auto& each : cases) {
    const SysTree tree(each.files);
    const Check check = checkOf(checkMachine(SysRoot(tree.folder())), each.check);
    EXPECT_EQ(check.isGood, each.isGood) << each.check << ": " << check.text;
    EXPECT_NE(check.text.find(each.text), std::string::npos) << each.check << ": " << check.text;
  }
}

TEST(DoctorTest, NamespacesOfItsOwnAreTold) {
  for (const auto& [pid, isGood] :
       {std::pair{"pid:[4026531836]", true}, {"pid:[4026532500]", false}}) {
    const SysTree tree(FileTable{{"/proc/self/mounts", ""}});
    fs::create_directories(tree.folder() + "/proc/self/ns");
    fs::create_symlink(pid, tree.folder() + "/proc/self/ns/pid");
    const Check check = checkOf(checkMachine(SysRoot(tree.folder())), "container");
    EXPECT_EQ(check.isGood, isGood) << check.text;
    EXPECT_EQ(check.text.find("--pid=host") != std::string::npos, !isGood) << check.text;
  }
}

TEST(DoctorTest, TextIsSortedByUseAndFitsATerminal) {
  const GuardedTree tree(energyFiles(), {kZone + std::string("0/energy_uj")});
  Diagnosis diagnosis{.user = "somebody (1000)", .features = examineAsUser(tree)};
  diagnosis.checks = checkMachine(SysRoot(tree.folder()));
  diagnosis.checks.push_back({"odd", false, "a \033[2J b"});
  const std::string text = doctorText(diagnosis, false);
  std::size_t place = 0;
  for (const char* const part :
       {"What somebody (1000) may measure here\n", "\nNot permitted: ", "\n Energy counters\n",
        "the rest of: Energy", "    $ sudo chgrp", "docs/permissions.md", "\nWorks\n", ", in part",
        "\nNot on this machine\n", "no batteries", "\nThe machine, ", "  note  odd",
        " features: "}) {
    const std::size_t found = text.find(part, place);
    ASSERT_NE(found, std::string::npos) << part << " in\n" << text;
    place = found;
  }
  EXPECT_EQ(text.find('\033'), std::string::npos);
  EXPECT_NE(doctorText(diagnosis, true).find("\033[1mWorks\033[0m"), std::string::npos);
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const bool isVerbatim = line.starts_with("    $ ") || line.starts_with("    refused: ");
    EXPECT_TRUE(isVerbatim || line.size() <= 80) << line;
  }
}

TEST(DoctorTest, JsonHasEverythingForScripts) {
  const GuardedTree tree(energyFiles(), {kZone + std::string("0/energy_uj")});
  Diagnosis diagnosis{.user = "x\xFF", .features = examineAsUser(tree)};
  diagnosis.checks = checkMachine(SysRoot(tree.folder()));
  rapidjson::Document json;
  json.Parse(doctorJson(diagnosis).c_str());
  ASSERT_FALSE(json.HasParseError());
  const auto features = json["features"].GetArray();
  ASSERT_EQ(features.Size(), diagnosis.features.size());
  const auto energy = std::find_if(features.begin(), features.end(), [](const auto& feature) {
    return std::string(feature["name"].GetString()) == "energy";
  });
  ASSERT_NE(energy, features.end());
  EXPECT_STREQ((*energy)["state"].GetString(), "partial");
  EXPECT_STREQ((*energy)["missing"][0].GetString(), "Energy counters");
  EXPECT_EQ((*energy)["refused"][0]["what"].GetString(), kZone + std::string("0/energy_uj"));
  EXPECT_EQ((*energy)["refused"][0]["errno"].GetInt(), EACCES);
  bool isTold = false;
  for (const auto& right : json["rights"].GetArray()) {
    if (std::string(right["name"].GetString()) != "Energy counters") continue;
    isTold = true;
    EXPECT_EQ(right["commands"].Size(), 2U);
  }
  EXPECT_TRUE(isTold);
  EXPECT_EQ(json["checks"].Size(), diagnosis.checks.size());
  unsigned int sum = 0;
  for (const auto& count : json["sums"].GetObject()) sum += count.value.GetUint();
  EXPECT_EQ(sum, features.Size());
}

}  // namespace tavrin
