#pragma once

#include <array>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "tavrin/collect/CounterTable.h"
#include "tavrin/collect/DeviceSet.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/StateTable.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/collect/TimeTable.h"

namespace tavrin {

/// What wakes the machine or keeps it from sleeping: events of wakeup sources, the time that each
/// was active, and when it was held. From /sys/class/wakeup as
/// Documentation/ABI/testing/sysfs-class-wakeup has it; where that is missing, from the table
/// `wakeup_sources` of the debug file system, in which names are not unique: sources of one name
/// are added up. Sources join when they are first active.
///
/// Sources are looked at in each pass, so one that was held and released between two is not seen to
/// be held; its time is counted all the same. Of a source in /sys/class/wakeup that was not held
/// only the time of its last change is read, and the rest when that is another one.
class WakeupFeature : public Feature {
 public:
  WakeupFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;
  void remainder(SampleBatch& batch) const override;

 private:
  static constexpr std::size_t kCounts = 4;
  struct Reading {
    std::array<unsigned long long, kCounts> counts{};
    unsigned long long heldTime = 0;   // ms, since it is held; 0 when it is not
    unsigned long long totalTime = 0;  // ms
    bool isNoted = false;              // in this pass
  };
  struct Source {
    std::string name;
    OpenFile lastChange;
    std::vector<OpenFile> files;  // of the numbers of the reading, in their order
    unsigned long long changedAt = 0;
    std::optional<Reading> last;
  };

  void findSources();
  std::optional<Source> open(const std::string& folder);
  bool read(Source& source);
  static bool readAll(Source& source);
  void readTable();
  void note(std::string_view name, const Reading& reading);
  void read();
  const pwr::MetricDescription* add(pwr::MetricDescription metric, const char* name,
                                    unsigned int containerId);

  const SysRoot* root_ = nullptr;
  Interval interval_;
  DeviceSet<Source> sources_;
  std::optional<OpenFile> table_;  // where there is no class of wakeup sources
  std::map<std::string, Reading, std::less<>> readings_;
  CounterTable things_;
  TimeTable::Descriptors active_;
  TimeTable times_;
  StateTable states_;
};

}  // namespace tavrin
