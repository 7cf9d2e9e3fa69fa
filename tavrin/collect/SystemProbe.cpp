#include "tavrin/collect/SystemProbe.h"

#include <sys/utsname.h>

#include <cctype>
#include <charconv>

#include "tavrin/collect/Interval.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

/// The value of the first line "key<blanks><separator>value", or "".
std::string_view findField(std::string_view text, std::string_view key, char separator) {
  while (!text.empty()) {
    const std::string_view line = takeLine(text);
    const std::size_t at = line.find(separator);
    if (at != std::string_view::npos && trimmed(line.substr(0, at)) == key) {
      return trimmed(line.substr(at + 1));
    }
  }
  return {};
}

std::string cpuModelName(std::string_view cpuInfo) {
  for (const char* key : {"model name", "Processor", "cpu model", "uarch"}) {
    const std::string_view name = findField(cpuInfo, key, ':');
    if (!name.empty()) return std::string(name);
  }
  const std::string_view maker = findField(cpuInfo, "CPU implementer", ':');
  if (maker.empty()) return {};
  return "implementer " + std::string(maker) + " part " +
         std::string(findField(cpuInfo, "CPU part", ':'));
}

std::uint8_t byteField(std::string_view cpuInfo, std::string_view key) {
  std::string_view text = findField(cpuInfo, key, ':');
  std::uint8_t value = 0;
  takeNumber(text, value);
  return value;
}

void describeCpu(const SysRoot& root, pwr::SystemDescription& system) {
  std::string cpuInfo;
  root.readText("/proc/cpuinfo", cpuInfo);
  system.cpuNativeModelName = cpuModelName(cpuInfo);
  system.cpuCodeName = system.cpuNativeModelName;
  system.cpuId = {byteField(cpuInfo, "cpu family"), byteField(cpuInfo, "model"),
                  byteField(cpuInfo, "stepping")};
  const std::string_view mhz = findField(cpuInfo, "cpu MHz", ':');
  std::from_chars(mhz.data(), mhz.data() + mhz.size(), system.cpuFrequencyMHz);
}

void describeFrequencies(const SysRoot& root, pwr::SystemDescription& system) {
  const std::string folder = "/sys/devices/system/cpu/cpufreq";
  const auto policies = root.listNumbered(folder, "policy");
  if (policies.empty()) return;
  const std::string policy = folder + "/policy" + std::to_string(policies.front()) + "/";
  const auto readMhz = [&](const char* file, float& mhz) {
    unsigned long long khz = 0;
    if (root.readNumber(policy + file, khz) == 0) mhz = static_cast<float>(khz) / 1000.0F;
  };
  readMhz("cpuinfo_max_freq", system.hfmFrequencyMHz);
  readMhz("cpuinfo_min_freq", system.lfmFrequencyMHz);
  readMhz("base_frequency", system.cpuFrequencyMHz);
}

std::string osName(const SysRoot& root) {
  std::string release;
  if (root.readText("/etc/os-release", release) != 0) {
    root.readText("/usr/lib/os-release", release);
  }
  std::string_view name = findField(release, "PRETTY_NAME", '=');
  const bool quoted = name.size() >= 2 && (name.front() == '"' || name.front() == '\'') &&
                      name.front() == name.back();
  if (quoted) name = name.substr(1, name.size() - 2);
  return std::string(name);
}

/// The numbers at the front of a kernel release: "6.18.44" of "6.18.44-custom".
std::string numericVersion(const std::string& release) {
  std::string version = release.substr(0, release.find_first_not_of("0123456789."));
  while (version.ends_with('.')) version.pop_back();
  return version;
}

void describeOs(const SysRoot& root, pwr::SystemDescription& system) {
  utsname names{};
  if (root.isThisMachine()) uname(&names);
  const auto read = [&](const char* file, const char* fallback) {
    std::string text = root.readLine(std::string("/proc/sys/kernel/") + file);
    return text.empty() ? std::string(fallback) : text;
  };
  system.hostName = read("hostname", names.nodename);
  system.osType = read("arch", names.machine);
  system.osVersion = numericVersion(read("osrelease", names.release));
  system.osName = osName(root);
}

std::string platformName(const SysRoot& root) {
  for (const char* file : {"/sys/class/dmi/id/product_name", "/sys/firmware/devicetree/base/model",
                           "/proc/device-tree/model"}) {
    std::string name = root.readLine(file);
    if (!name.empty()) return name;
  }
  return {};
}

}  // namespace

pwr::SystemDescription probeSystem(const SysRoot& root, const CpuEntities& cpus) {
  pwr::SystemDescription system;
  describeCpu(root, system);
  describeFrequencies(root, system);
  describeOs(root, system);
  system.platformName = platformName(root);
  system.timestampClockFrequencyMHz = kTicksPerSecond / 1'000'000;
  system.tscFrequencyMHz = static_cast<float>(system.timestampClockFrequencyMHz);
  cpus.describe(system.topology);
  return system;
}

}  // namespace tavrin
