#include "tavrin/collect/DiskFeature.h"

#include <unistd.h>

#include <algorithm>
#include <array>

#include "tavrin/collect/Counting.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/common/TextScan.h"

namespace tavrin {

namespace {

/// What the kernel counts in, whatever the sectors of the disk are.
constexpr unsigned long long kSectorBytes = 512;

/// The columns behind the name of the disk. Old kernels end behind the first 11, without discards,
/// or the first 15, without flushes.
enum DiskColumn : std::size_t {
  kReads = 0,
  kReadSectors = 2,
  kWrites = 4,
  kWrittenSectors = 6,
  kLeastDiskColumns = 11,
  kDiscards = 11,
  kDiscardedSectors = 13,
  kFlushes = 15,
  kDiskColumns = 16,
};

/// The others are times, or go down too.
constexpr std::array kDiskCounters{kReads,    kReadSectors,      kWrites, kWrittenSectors,
                                   kDiscards, kDiscardedSectors, kFlushes};

constexpr std::size_t placeOf(DiskColumn column) {
  std::size_t place = 0;
  while (kDiskCounters[place] != column) ++place;
  return place;
}

}  // namespace

DiskFeature::DiskFeature()
    : CounterFileFeature("disk", "Disks", "Bytes and operations of disks",
                         {.path = "/proc/diskstats",
                          .level = "Disk",
                          .counters = kDiskCounters.size(),
                          .unused = "no disk in /proc/diskstats has been used"}) {}

std::string DiskFeature::probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) {
  root_ = &root;
  return CounterFileFeature::probe(root, cpus, containerId);
}

std::vector<CounterMetric> DiskFeature::describeMetrics() const {
  return {
      {"Disk Data",
       createBytesQuantity(),
       {{placeOf(kReadSectors), "read", "", kSectorBytes},
        {placeOf(kWrittenSectors), "written", "", kSectorBytes},
        {placeOf(kDiscardedSectors), "discarded", "Told to the disk to be unused", kSectorBytes}}},
      {"Disk Operations",
       createEventsQuantity(),
       {{placeOf(kReads), "reads", "Finished reads"},
        {placeOf(kWrites), "writes", "Finished writes"},
        {placeOf(kDiscards), "discards", "Finished discards"},
        {placeOf(kFlushes), "flushes", "Finished flushes of the disk's cache"}}},
  };
}

/// Whether the name is that of a whole disk, which has a folder of its own.
bool DiskFeature::isDisk(std::string_view name) {
  const auto known = isDisk_.find(name);
  if (known != isDisk_.end()) return known->second;
  std::string folder(name);
  std::ranges::replace(folder, '/', '!');  // as the kernel does
  const bool isOne = access(root_->path("/sys/block/" + folder).c_str(), F_OK) == 0;
  if (isDisk_.size() < 4 * CounterTable::kMost) isDisk_.emplace(name, isOne);
  return isOne;
}

void DiskFeature::readLine(std::string_view line, CounterTable& things) {
  takeWord(line);  // the device's numbers
  takeWord(line);
  const std::string_view name = takeWord(line);
  std::array<unsigned long long, kDiskColumns> columns{};
  std::size_t count = 0;
  while (count < kDiskColumns && takeNumber(line, columns[count])) ++count;
  if (count < kLeastDiskColumns || !isDisk(name)) return;
  std::array<unsigned long long, kDiskCounters.size()> counts{};
  for (std::size_t i = 0; i < counts.size(); ++i) counts[i] = columns[kDiskCounters[i]];
  things.note(name, counts);
}

}  // namespace tavrin
