#include "tavrin/collect/MemoryFeature.h"

#include <algorithm>
#include <system_error>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/Counting.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

constexpr const char* kMemoryInfo = "/proc/meminfo";
constexpr unsigned long long kKibibyte = 1024;

enum MemoryField : std::size_t {
  kTotal,
  kFree,
  kAvailable,
  kBuffers,
  kCached,
  kAnonymous,
  kShared,
  kSlab,
  kPageTables,
  kDirty,
  kWriteback,
  kSwapTotal,
  kSwapFree,
  kMemoryFields,
  kNothing,
};

constexpr std::array<std::string_view, kMemoryFields> kFieldKeys{
    "MemTotal:", "MemFree:",    "MemAvailable:", "Buffers:",   "Cached:",    "AnonPages:", "Shmem:",
    "Slab:",     "PageTables:", "Dirty:",        "Writeback:", "SwapTotal:", "SwapFree:"};

/// A size is a field, or a field with another one, or without another one.
struct MemorySize {
  const char* name;
  const char* description;
  MemoryField field;
  MemoryField with = kNothing;
  MemoryField without = kNothing;
};

constexpr std::array<MemorySize, 11> kMemorySizes{{
    {"used", "What is not available", kTotal, kNothing, kAvailable},
    {"available", "What programs can still get without swapping", kAvailable},
    {"free", "Unused", kFree},
    {"cached", "Contents of files and disks, shared memory included", kCached, kBuffers},
    {"anonymous", "Memory of programs that is not of files", kAnonymous},
    {"shared", "Shared memory and files in memory (tmpfs)", kShared},
    {"slab", "Objects of the kernel", kSlab},
    {"page tables", "", kPageTables},
    {"dirty", "Waits to be written to disks", kDirty},
    {"writeback", "Is being written to disks", kWriteback},
    {"swap used", "", kSwapTotal, kNothing, kSwapFree},
}};

constexpr std::array<KeyedCounters::Counter, 5> kMemoryEvents{{
    {"pgfault", "page faults", "All page faults"},
    {"pgmajfault", "major page faults", "Page faults that had to wait for a disk"},
    {"pswpin", "pages swapped in", ""},
    {"pswpout", "pages swapped out", ""},
    {"oom_kill", "out-of-memory kills", "Processes ended to get at their memory"},
}};

constexpr std::array<KeyedCounters::Counter, 2> kMemoryTraffic{{
    {"pgpgin", "paged in", "Read from disks into memory", kKibibyte},
    {"pgpgout", "paged out", "Written from memory to disks", kKibibyte},
}};

using Fields = std::array<std::optional<unsigned long long>, kMemoryFields>;

/// Lines are "KEY: NUMBER kB".
Fields parseFields(std::string_view text) {
  Fields fields;
  while (!text.empty()) {
    std::string_view line = takeLine(text);
    const auto key = std::ranges::find(kFieldKeys, takeWord(line));
    unsigned long long kibibytes = 0;
    if (key == kFieldKeys.end() || !takeNumber(line, kibibytes)) continue;
    if (kibibytes > ~0ULL / kKibibyte / 2) continue;  // the sum of two must fit
    fields[static_cast<std::size_t>(key - kFieldKeys.begin())] = kibibytes * kKibibyte;
  }
  return fields;
}

std::optional<unsigned long long> sizeOf(const MemorySize& size, const Fields& fields) {
  const auto get = [&](MemoryField field) {
    return field == kNothing ? std::optional(0ULL) : fields[field];
  };
  const auto field = get(size.field);
  const auto with = get(size.with);
  const auto without = get(size.without);
  if (!field || !with || !without || *without > *field) return std::nullopt;
  return *field + *with - *without;
}

}  // namespace

MemoryFeature::MemoryFeature()
    : Feature("memory", "Memory", "Use of memory, page faults, traffic with disks"),
      faults_{KeyedCounters(kMemoryEvents)},
      traffic_{KeyedCounters(kMemoryTraffic)} {
  static_assert(kMemorySizes.size() == kSizes);
}

MemoryFeature::Sizes MemoryFeature::parse(std::string_view text) {
  const Fields fields = parseFields(text);
  Sizes sizes;
  for (std::size_t i = 0; i < kSizes; ++i) sizes[i] = sizeOf(kMemorySizes[i], fields);
  return sizes;
}

std::string MemoryFeature::probe(const SysRoot& root, CpuEntities& /*cpus*/,
                                 unsigned int containerId) {
  std::string text;
  const int error = root.readText(kMemoryInfo, text);
  if (error != 0) {
    return std::string(kMemoryInfo) + " cannot be read: " + std::generic_category().message(error);
  }
  const Sizes sizes = parse(text);
  if (std::ranges::none_of(sizes, [](const auto& size) { return size.has_value(); })) {
    return std::string("no sizes in ") + kMemoryInfo;
  }
  sizesFile_.emplace(root.path(kMemoryInfo));
  describeSizes(sizes, parseFields(text)[kTotal].value_or(0), containerId);
  describeEvents(root, containerId);
  return {};
}

void MemoryFeature::describeSizes(const Sizes& sizes, unsigned long long total,
                                  unsigned int containerId) {
  std::vector<pwr::Metric::EntityDescCombo> combinations;
  for (std::size_t i = 0; i < kSizes; ++i) {
    if (!sizes[i]) continue;
    std::string description = kMemorySizes[i].description;
    if (kMemorySizes[i].field == kTotal) {
      description += ", of " + std::to_string(total) + " bytes in total";
    }
    descriptors_[i] =
        pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(kMemorySizes[i].name, description));
    combinations.push_back({.descriptor = descriptors_[i]});
  }
  addMetric(pwr::createMetric({.containerId = containerId,
                               .name = "Memory",
                               .featureTag = tag(),
                               .type = pwr::Metric::MetricType::SampledValue,
                               .legacyType = pwr::RealTableClass::Value,
                               .quantity = pwr::createQuantity(
                                   {.type = pwr::QuantityType::Size, .name = "Size", .units = "B"}),
                               .combinations = std::move(combinations),
                               .descriptorGroup = std::make_shared<const pwr::Field>("Use")}));
}

void MemoryFeature::describeEvents(const SysRoot& root, unsigned int containerId) {
  std::string text;
  if (root.readText("/proc/vmstat", text) != 0) return;
  eventsFile_.emplace(root.path("/proc/vmstat"));
  addEvents(faults_, text, "Memory Events", createEventsQuantity(), containerId);
  addEvents(traffic_, text, "Memory Traffic", createBytesQuantity(), containerId);
}

void MemoryFeature::addEvents(Events& events, std::string_view text, const char* name,
                              const pwr::Quantity* quantity, unsigned int containerId) {
  auto combinations = events.counters.describe(text);
  if (combinations.empty()) return;
  events.metric = addMetric(
      pwr::createMetric({.containerId = containerId,
                         .name = name,
                         .featureTag = tag(),
                         .type = pwr::Metric::MetricType::SampledDelta,
                         .legacyType = pwr::RealTableClass::Counter,
                         .quantity = quantity,
                         .combinations = std::move(combinations),
                         .descriptorGroup = std::make_shared<const pwr::Field>("Event")}));
}

void MemoryFeature::sampleSizes(bool complete, SampleBatch& batch) {
  IntervalPoint point(batch, metrics().front(), interval_);
  for (std::size_t i = 0; complete && i < kSizes; ++i) {
    if (descriptors_[i] == nullptr || !sizes_[i]) continue;
    point.add(pwr::Data(*sizes_[i]), descriptors_[i], nullptr);
  }
  std::string_view text;
  sizes_ = sizesFile_->readText(text) == 0 ? parse(text) : Sizes();
}

void MemoryFeature::sample(unsigned long long now, SampleBatch& batch) {
  const bool complete = interval_.advance(now);
  sampleSizes(complete, batch);
  std::string_view text;
  if (!eventsFile_ || eventsFile_->readText(text) != 0) text = {};
  for (Events* events : {&faults_, &traffic_}) {
    if (events->metric == nullptr) continue;
    IntervalPoint point(batch, events->metric, interval_);
    events->counters.sample(text, complete, point);
  }
}

}  // namespace tavrin
