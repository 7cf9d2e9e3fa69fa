#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "tavrin/collect/Feature.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/KeyedCounters.h"
#include "tavrin/collect/OpenFile.h"

namespace tavrin {

/// Where the machine's memory went, from /proc/meminfo as Documentation/filesystems/proc.rst has
/// it, and its page faults and traffic with the disks, from /proc/vmstat. The reading of a size at
/// the start of an interval stands for the interval; one that is missing is a gap of that size.
class MemoryFeature : public Feature {
 public:
  MemoryFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;

 private:
  static constexpr std::size_t kSizes = 11;
  using Sizes = std::array<std::optional<unsigned long long>, kSizes>;  // bytes

  /// A metric of events.
  struct Events {
    KeyedCounters counters;
    const pwr::MetricDescription* metric = nullptr;  // null where the machine has none of them
  };

  static Sizes parse(std::string_view text);
  void describeSizes(const Sizes& sizes, unsigned long long total, unsigned int containerId);
  void describeEvents(const SysRoot& root, unsigned int containerId);
  void addEvents(Events& events, std::string_view text, const char* name,
                 const pwr::Quantity* quantity, unsigned int containerId);
  void sampleSizes(bool complete, SampleBatch& batch);

  std::optional<OpenFile> sizesFile_;
  std::optional<OpenFile> eventsFile_;
  Interval interval_;
  std::array<const pwr::DataDescriptor*, kSizes> descriptors_{};
  Sizes sizes_;  // as of the last pass
  Events faults_;
  Events traffic_;
};

}  // namespace tavrin
