#include "tavrin/import/ResultSystem.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tavrin {

namespace {

/// In the order in which one is within the other.
constexpr std::pair<std::string_view, std::string_view> kLevels[] = {
    {"Package", "Package"}, {"Module", "Module"}, {"Core", "Core"}, {"CPU", "Thread"}};
constexpr std::size_t kCpuLevel = 3;

struct PlacePart {
  std::size_t level = 0;  ///< position in `kLevels`
  unsigned int number = 0;
};

std::optional<PlacePart> partOf(std::string_view name) {
  for (std::size_t level = 0; level < std::size(kLevels); ++level) {
    const std::string_view word = kLevels[level].first;
    if (!name.starts_with(word)) continue;
    PlacePart part{.level = level};
    const char* const end = name.data() + name.size();
    const auto [stop, error] = std::from_chars(name.data() + word.size(), end, part.number);
    if (error == std::errc() && stop == end) return part;
  }
  return std::nullopt;
}

/// The parts of a processor's place from the package on; empty for any other name.
std::vector<PlacePart> partsOf(std::string_view qualifiedName) {
  std::vector<PlacePart> parts;
  while (!qualifiedName.empty()) {
    const std::size_t slash = std::min(qualifiedName.find('/'), qualifiedName.size());
    const std::optional<PlacePart> part = partOf(qualifiedName.substr(0, slash));
    const bool isNext =
        part && (parts.empty() ? part->level == 0 : part->level > parts.back().level);
    if (!isNext) return {};
    parts.push_back(*part);
    qualifiedName.remove_prefix(std::min(slash + 1, qualifiedName.size()));
  }
  return parts;
}

/// The facts of a result by their names.
class Facts {
 public:
  explicit Facts(const ResultReader& reader) {
    for (Fact& fact : reader.system()) facts_.insert_or_assign(fact.name, std::move(fact.value));
  }

  std::string text(const char* name) const {
    const auto found = facts_.find(name);
    return found == facts_.end() ? std::string() : found->second;
  }
  template <typename Number>
  Number number(const char* name) const {
    const std::string value = text(name);
    Number read{};
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), read);
    return error == std::errc() ? read : Number{};
  }
  /// Numbers that one character separates.
  template <std::size_t N>
  std::array<unsigned int, N> numbers(const char* name, char separator, int base = 10) const {
    std::array<unsigned int, N> read{};
    const std::string value = text(name);
    const char* at = value.data();
    const char* const end = at + value.size();
    for (unsigned int& number : read) {
      at = std::from_chars(at, end, number, base).ptr;
      if (at == end || *at != separator) break;
      ++at;
    }
    return read;
  }

 private:
  std::map<std::string, std::string, std::less<>> facts_;
};

/// The processors that are told of by their places, which need not be all.
void addNamedProcessors(const ResultReader& reader, pwr::TopTree& topology) {
  for (const Entity& entity : reader.entities()) {
    const std::vector<PlacePart> parts = partsOf(entity.qualifiedName);
    if (parts.size() < 3 || parts.back().level != kCpuLevel) continue;
    std::array<int, std::size(kLevels)> numbers{-1, -1, 0, 0};
    for (const PlacePart& part : parts) numbers[part.level] = static_cast<int>(part.number);
    topology.addThread(static_cast<unsigned>(numbers[0]), numbers[1],
                       static_cast<unsigned>(numbers[2]), static_cast<unsigned>(numbers[3]));
  }
}

/// A machine with as many of each as the file says, where it does not say which belong together.
void addCountedProcessors(const Facts& facts, pwr::TopTree& topology) {
  const auto count = [&](const char* name) { return facts.number<std::uint16_t>(name); };
  const unsigned int packages = std::max<unsigned int>(count("Num Packages"), 1);
  const unsigned int modules = count("Num Modules");
  const unsigned int cores = std::max<unsigned int>(count("Num Cores"), 1);
  const unsigned int groups = std::max(packages, modules);
  for (unsigned int thread = 0; thread < count("Num Threads"); ++thread) {
    const unsigned int core = thread % cores;
    const unsigned int group = core % groups;
    topology.addThread(group % packages, group < modules ? static_cast<int>(group) : -1, core,
                       thread);
  }
}

/// "0/0/0 0/1/0": package, core and thread of each processor of a timeline file.
void addListedProcessors(const Facts& facts, pwr::TopTree& topology) {
  const std::string text = facts.text("Package/Core/Thread");
  const char* at = text.data();
  const char* const end = at + text.size();
  for (unsigned int cpu = 0; at < end; ++cpu) {
    std::array<unsigned int, 3> place{};
    for (unsigned int& number : place) {
      at = std::from_chars(at, end, number).ptr;
      if (at < end) ++at;
    }
    topology.addThread(place[0], -1, place[1], cpu);
  }
}

bool hasCounts(const Facts& facts, const pwr::TopTree& topology) {
  return topology.getNumPackages() == facts.number<std::uint16_t>("Num Packages") &&
         topology.getNumModules() == facts.number<std::uint16_t>("Num Modules") &&
         topology.getNumCores() == facts.number<std::uint16_t>("Num Cores") &&
         topology.getNumThreads() == facts.number<std::uint16_t>("Num Threads");
}

pwr::TopTree topologyOf(const ResultReader& reader, const Facts& facts) {
  pwr::TopTree topology;
  if (reader.format() == ResultFormat::Timeline) {
    addListedProcessors(facts, topology);
    return topology;
  }
  addNamedProcessors(reader, topology);
  if (hasCounts(facts, topology)) return topology;
  pwr::TopTree counted;
  addCountedProcessors(facts, counted);
  return counted;
}

std::pair<unsigned long long, unsigned long long> lifetimeOf(const Task& task) {
  constexpr std::string_view kStart = "start ";
  constexpr std::string_view kEnd = " end ";
  unsigned long long start = 0;
  unsigned long long end = 0;
  const std::string_view text = task.lifetime;
  if (!text.starts_with(kStart)) return {};
  const char* const last = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + kStart.size(), last, start);
  const std::string_view rest(stop, static_cast<std::size_t>(last - stop));
  if (error != std::errc() || !rest.starts_with(kEnd)) return {};
  std::from_chars(stop + kEnd.size(), last, end);
  return {start, end};
}

/// Those that are known by no more than their number are made again from what belongs to them.
void addTasks(const ResultReader& reader, pwr::SystemDescription& system) {
  const auto pidOf = [&](std::uint32_t process) {
    return process == kNone ? 0 : static_cast<int>(reader.processes()[process].number);
  };
  for (const Task& task : reader.processes()) {
    if (task.lifetime.empty()) continue;
    const auto [start, end] = lifetimeOf(task);
    const bool hasPath = task.name.find('/') != std::string_view::npos;
    system.processes.emplace_back(static_cast<int>(task.number), pidOf(task.process),
                                  std::string(hasPath ? task.name : std::string_view()), start, end,
                                  std::string(hasPath ? task.shortName : task.name));
  }
  for (const Task& task : reader.threads()) {
    if (task.lifetime.empty()) continue;
    const auto [start, end] = lifetimeOf(task);
    system.threads.emplace_back(pidOf(task.process), static_cast<int>(task.number), start, end,
                                std::string(task.name));
  }
}

void addTimeline(const Facts& facts, pwr::SystemDescription& system) {
  const std::string architecture = facts.text("Architecture");
  system.osType = architecture.substr(architecture.rfind(' ') + 1);
  const auto version = facts.numbers<3>("Collector Version", '.');
  system.collectorVersionMajor = static_cast<std::uint16_t>(version[0]);
  system.collectorVersionMinor = static_cast<std::uint8_t>(version[1]);
  system.collectorVersionRevision = static_cast<std::uint8_t>(version[2]);
  const auto id = facts.numbers<3>("CPU ID", ' ', 16);
  std::ranges::transform(id, system.cpuId.begin(),
                         [](unsigned int part) { return static_cast<std::uint8_t>(part); });
}

}  // namespace

bool isProcessorPath(std::string_view qualifiedName) {
  return !partsOf(qualifiedName).empty();
}

std::string_view levelOfName(std::string_view name) {
  const std::optional<PlacePart> part = partOf(name);
  return part ? kLevels[part->level].second : std::string_view();
}

unsigned int wholeMHz(const Clock& clock) {
  constexpr double kMost = 1e6;
  const double mhz = std::round(clock.mhz.value_or(0.0));
  return mhz >= 1.0 && mhz <= kMost ? static_cast<unsigned int>(mhz) : 0;
}

pwr::SystemDescription systemOf(const ResultReader& reader, unsigned int clockMHz) {
  const Facts facts(reader);
  const Clock clock = reader.clock();
  pwr::SystemDescription system;
  system.platformId = facts.number<unsigned int>("Platform ID");
  system.platformName = facts.text("Platform Name") + facts.text("Plaform Name");
  system.hostName = facts.text("Host Name");
  system.osName = facts.text("OS Name");
  system.osType = facts.text("OS Type");
  system.osVersion = facts.text("OS Version");
  system.cpuCodeName = facts.text("CPU Name");
  system.cpuNativeModelName = facts.text("CPU Native Name");
  const std::string hubs = facts.text("PCH Name");
  if (!hubs.empty()) system.pchDeviceNames = {hubs};
  system.timestampClockFrequencyMHz = clockMHz;
  system.tscFrequencyMHz = static_cast<float>(clockMHz);
  system.cpuFrequencyMHz = facts.number<float>("CPU Frequency MHz");
  system.hfmFrequencyMHz = facts.number<float>("HFM Frequency MHz");
  system.lfmFrequencyMHz = facts.number<float>("LFM Frequency MHz");
  system.busFrequencyMHz = facts.number<float>("Bus Frequency MHz");
  system.collectionStartTimestamp = clock.start;
  system.collectionStopTimestamp = clock.stop;
  system.collectionDurationSec = clock.durationSec;
  system.collectionStartTimeNs = clock.startNs;
  system.productVersion = facts.text("Tavrin Version");
  system.driverVersion = facts.text("Tavrin Driver Version");
  system.commandLine = facts.text("Collection Command Line");
  system.topology = topologyOf(reader, facts);
  if (reader.format() == ResultFormat::Timeline) {
    addTimeline(facts, system);
    addTasks(reader, system);
  }
  return system;
}

}  // namespace tavrin
