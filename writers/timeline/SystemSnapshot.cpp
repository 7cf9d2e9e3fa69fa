#include "writers/timeline/SystemSnapshot.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string_view>
#include <utility>

#include "writers/timeline/RecordBytes.h"

namespace {

bool isI386Like(std::string_view osType) {
  return osType.size() == 4 && osType.starts_with('i') && osType.ends_with("86");
}

std::uint32_t archCode(std::string_view osName, std::string_view osType) {
  constexpr std::uint32_t kOther = 6;
  const std::uint32_t first = osName.find("Window") != std::string_view::npos ? 0 : 3;
  if (isI386Like(osType)) return first;
  if (osType == "ia64") return first + 1;
  if (osType == "x86_64") return first + 2;
  return kOther;
}

std::array<std::uint16_t, 4> parsedVersion(const std::string& version) {
  std::array<std::uint16_t, 4> parts{};
  std::size_t start = 0;
  for (std::uint16_t& part : parts) {
    // A number ends at the dot, or before.
    part = static_cast<std::uint16_t>(std::strtoul(version.c_str() + start, nullptr, 0));
    const std::size_t dot = version.find('.', start);
    if (dot == std::string::npos) break;
    start = dot + 1;
  }
  return parts;
}

/// In single precision, as the analyzer is used to; 32 bits hold less than 4295 MHz.
std::uint32_t lowHz(float mhz) {
  constexpr float kHzPerMhz = 1e6F;
  return static_cast<std::uint32_t>(truncatedReal(mhz * kHzPerMhz));
}

std::vector<SystemSnapshot::Cpu> cpusOf(const pwr::TopTree& topology) {
  std::vector<const pwr::TNode*> threads;
  topology.getAllThreads(threads);
  std::map<std::pair<unsigned int, unsigned int>, unsigned int> threadsOfCore;
  std::vector<SystemSnapshot::Cpu> cpus;
  for (const pwr::TNode* const thread : threads) {
    const pwr::TNode* const core = thread->getParent();
    const pwr::TNode* package = core->getParent();
    if (package->getType() == pwr::TNodeType::Module) package = package->getParent();
    unsigned int& count = threadsOfCore[{package->getId(), core->getId()}];
    cpus.push_back({static_cast<std::uint8_t>(package->getId()),
                    static_cast<std::uint8_t>(core->getId()), static_cast<std::uint8_t>(count)});
    ++count;
  }
  return cpus;
}

}  // namespace

SystemSnapshot SystemSnapshot::of(const pwr::SystemMetadata& metadata) {
  SystemSnapshot system;
  system.collectorField1 = metadata.getCollectorVersionMajor();
  system.collectorField2 = metadata.getCollectorVersionMinor();
  system.collectorField3 = metadata.getCollectorVersionRevision();
  system.platformName = metadata.getPlatformName();
  system.hostName = metadata.getHostName();
  system.osName = metadata.getOSName();
  system.osType = metadata.getOSType();
  system.cpus = cpusOf(metadata.getTopTree());
  system.cpuCount = static_cast<std::uint32_t>(system.cpus.size());
  system.osArchCode = archCode(system.osName, system.osType);
  system.osVersion = parsedVersion(metadata.getOSVersion());
  system.tscHz = lowHz(metadata.getTscFrequencyMHz());
  const float cpuMhz = metadata.getCPUFrequencyMHz();
  system.cpuHz =
      lowHz(cpuMhz != 0.0F ? cpuMhz : static_cast<float>(metadata.getTimestampClockFrequencyMHz()));
  std::ranges::copy(metadata.getCPUId(), system.cpuId.begin());
  system.collectionStartTsc = metadata.getCollectionStartTimestamp();
  system.collectionStopTsc = metadata.getCollectionStopTimestamp();
  system.collectionValueDiv100 = metadata.getCollectionStartTimeNs() / 100;
  system.cpuMhz = truncatedReal(cpuMhz);
  return system;
}
