#include <linux/capability.h>
#include <pwd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>

#include "tavrin/collect/OpenFile.h"
#include "tavrin/common/PlainText.h"
#include "tavrin/common/TextScan.h"
#include "tavrin/doctor/Diagnosis.h"

namespace tavrin {

namespace {

namespace fs = std::filesystem;

bool exists(const SysRoot& root, std::string_view path) {
  std::error_code error;
  return fs::exists(root.path(path), error);
}

/// How the file system at `point` is mounted: its type and options, ",type,option,option,"; empty
/// where none is.
std::string mountedAt(const SysRoot& root, std::string_view point) {
  std::string text;
  root.readText("/proc/self/mounts", text);
  std::string found;
  for (std::string_view rest = text; !rest.empty();) {
    std::string_view line = takeLine(rest);
    takeWord(line);
    if (takeWord(line) != point) continue;
    const std::string type(takeWord(line));
    found = "," + type + "," + std::string(takeWord(line)) + ",";  // the last one covers the others
  }
  return found;
}

/// The value of an option of a mount; empty without it.
std::string optionOf(const std::string& mount, const std::string& name) {
  const std::size_t place = mount.find("," + name + "=");
  if (place == std::string::npos) return {};
  const std::size_t start = place + name.size() + 2;
  return mount.substr(start, mount.find(',', start) - start);
}

/// Whether the process is in the namespace that the machine was started with.
bool isInFirst(const SysRoot& root, const std::string& kind, const char* number) {
  std::error_code error;
  const fs::path target = fs::read_symlink(root.path("/proc/self/ns/" + kind), error);
  return error || target == kind + ":[" + number + "]";
}

/// Those of this process, whatever the root is.
Check checkCapabilities() {
  std::string status;
  SysRoot().readText("/proc/self/status", status);
  const std::size_t place = status.find("CapEff:\t");
  const unsigned long long held =
      place == std::string::npos ? 0 : std::strtoull(status.c_str() + place + 8, nullptr, 16);
  std::vector<std::string> names;
  for (const auto& [number, name] : {std::pair{CAP_DAC_OVERRIDE, "CAP_DAC_OVERRIDE"},
                                     {CAP_DAC_READ_SEARCH, "CAP_DAC_READ_SEARCH"},
                                     {CAP_PERFMON, "CAP_PERFMON"},
                                     {CAP_SYS_ADMIN, "CAP_SYS_ADMIN"},
                                     {CAP_SYS_PTRACE, "CAP_SYS_PTRACE"}}) {
    if ((held >> static_cast<unsigned int>(number) & 1U) != 0) names.emplace_back(name);
  }
  return {"capabilities", true,
          names.empty() ? "none that bear on measuring" : joined(names, "; ")};
}

Check checkVirtual(const SysRoot& root) {
  std::string cpus;
  root.readText("/proc/cpuinfo", cpus);
  const bool isGuest = cpus.find(" hypervisor") != std::string::npos ||
                       exists(root, "/sys/hypervisor/type") ||
                       exists(root, "/proc/device-tree/hypervisor");
  if (!isGuest) return {"virtual machine", true, "no"};
  return {"virtual machine", false,
          "yes: frequencies, temperatures, energy and package sleep are the host's, which seldom "
          "hands them on"};
}

Check checkContainer(const SysRoot& root) {
  std::vector<std::string> limits;
  if (!isInFirst(root, "pid", "4026531836")) {
    limits.emplace_back(
        "a PID namespace of its own: only its processes are seen (start it with "
        "the host's, --pid=host)");
  }
  if (!isInFirst(root, "user", "4026531837")) {
    limits.emplace_back("a user namespace of its own: its root has no rights over the machine");
  }
  if (mountedAt(root, "/sys").find(",ro,") != std::string::npos) {
    limits.emplace_back("/sys is read-only: nothing can be mounted or changed there");
  }
  if (!limits.empty()) return {"container", false, joined(limits, "; ")};
  for (const char* const mark : {"/.dockerenv", "/run/.containerenv", "/run/systemd/container"}) {
    if (exists(root, mark)) {
      return {"container", true, std::string("marked by ") + mark + "; sees the whole machine"};
    }
  }
  return {"container", true, "no"};
}

Check checkClock(const SysRoot& root) {
  const std::string name =
      root.readLine("/sys/devices/system/clocksource/clocksource0/current_clocksource");
  if (name.empty()) return {"clock source", false, "unknown"};
  constexpr const char* kSlow[] = {"hpet", "acpi_pm", "pit", "jiffies", "refined-jiffies"};
  if (std::ranges::count(kSlow, name) == 0) return {"clock source", true, name};
  return {"clock source", false, name + ": slow to read or coarse, so times cost more"};
}

Check checkIdle(const SysRoot& root) {
  const std::string folder = "/sys/devices/system/cpu/cpuidle/";
  const std::string driver = root.readLine(folder + "current_driver");
  if (driver.empty() || driver == "none") {
    return {"cpuidle driver", false, "none: the kernel does not tell how CPUs sleep"};
  }
  std::string governor = root.readLine(folder + "current_governor");
  if (governor.empty()) governor = root.readLine(folder + "current_governor_ro");
  return {"cpuidle driver", true, governor.empty() ? driver : driver + ", governor " + governor};
}

Check checkFrequency(const SysRoot& root) {
  const std::string folder = "/sys/devices/system/cpu/cpufreq";
  const auto policies = root.listNumbered(folder, "policy");
  if (policies.empty()) {
    return {"CPU frequency", false, "not visible: no cpufreq driver"};
  }
  const std::string driver =
      root.readLine(folder + "/policy" + std::to_string(policies.front()) + "/scaling_driver");
  return {"CPU frequency", true, "visible" + (driver.empty() ? "" : ", driver " + driver)};
}

Check checkCounters(const SysRoot& root) {
  const auto isProcessor = [](const std::string& source) {
    return source.starts_with("cpu") || source.starts_with("arm");
  };
  const bool isThere = std::ranges::any_of(root.list("/sys/bus/event_source/devices"), isProcessor);
  return {"CPU counters", isThere,
          isThere ? "there" : "none: no instructions, cycles and cache misses of commands"};
}

std::optional<Check> checkParanoia(const SysRoot& root) {
  long long level = 0;
  if (root.readNumber("/proc/sys/kernel/perf_event_paranoid", level) != 0) return std::nullopt;
  const char* const meaning =
      level <= 0   ? "everybody may count on whole CPUs"
      : level == 1 ? "who lacks CAP_PERFMON may count his own tasks"
      : level == 2 ? "who lacks CAP_PERFMON may count his own tasks, outside the "
                     "kernel"
                   : "who lacks CAP_PERFMON may count nothing (Debian, Ubuntu), or as with 2";
  return Check{"perf_event_paranoid", level <= 1, std::to_string(level) + ": " + meaning};
}

Check checkTracing(const SysRoot& root) {
  for (const char* const place : {"/sys/kernel/tracing", "/sys/kernel/debug/tracing"}) {
    const std::string mount = mountedAt(root, place);
    if (!mount.starts_with(",tracefs,")) continue;
    const std::string uid = optionOf(mount, "uid");
    const std::string owner = uid.empty() || uid == "0" ? "root's" : "of the user " + uid;
    return {"tracefs", true, std::string("mounted at ") + place + ", " + owner};
  }
  return {"tracefs", false, "not mounted"};
}

Check checkProcesses(const SysRoot& root) {
  const std::string hidden = optionOf(mountedAt(root, "/proc"), "hidepid");
  const bool isHidden = !hidden.empty() && hidden != "0" && hidden != "off";
  return {"processes", !isHidden,
          isHidden ? "/proc is mounted with hidepid=" + hidden : "/proc hides none"};
}

std::optional<Check> checkLockdown(const SysRoot& root) {
  const std::string modes = root.readLine("/sys/kernel/security/lockdown");
  const std::size_t start = modes.find('[');
  if (start == std::string::npos) return std::nullopt;
  const std::string mode = modes.substr(start + 1, modes.find(']') - start - 1);
  const bool isStrict = mode == "confidentiality";
  return Check{"kernel lockdown", !isStrict,
               isStrict ? mode + ": nobody may trace the kernel" : mode};
}

Check checkOpenFiles() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const std::string most =
      limit.rlim_max == RLIM_INFINITY ? "as many as wanted" : std::to_string(limit.rlim_max);
  const auto beyond = OpenFile::countBeyondLimit();
  if (beyond == 0) return {"open files", true, most + " (ulimit -Hn), enough"};
  return {"open files", false,
          most + " (ulimit -Hn): " + std::to_string(beyond) + " more are read by turns"};
}

}  // namespace

std::string userName() {
  const uid_t number = geteuid();
  const passwd* const entry = getpwuid(number);
  const std::string id = std::to_string(number);
  return entry == nullptr ? "user " + id : std::string(entry->pw_name) + " (" + id + ")";
}

std::vector<Check> checkMachine(const SysRoot& root) {
  std::vector<Check> checks{checkCapabilities(), checkVirtual(root), checkContainer(root),
                            checkClock(root),    checkIdle(root),    checkFrequency(root),
                            checkCounters(root), checkTracing(root), checkProcesses(root),
                            checkOpenFiles()};
  for (auto& check : {checkParanoia(root), checkLockdown(root)}) {
    if (check) checks.push_back(*check);
  }
  return checks;
}

}  // namespace tavrin
