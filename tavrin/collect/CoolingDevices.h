#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tavrin/collect/DeviceSet.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/SysRoot.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// What cooling devices (fans, limits of processors) do against heat, from /sys/class/thermal as
/// Documentation/ABI/testing/sysfs-class-thermal has it: 0 for nothing, up to a number of their own
/// for all that they can. The state that a device has at the start of an interval is told there, if
/// it is another one than before; that of one which is gone is "unknown". They come and go with
/// their drivers.
class CoolingDevices {
 public:
  /// Finds those whose state can be read. `root` must outlive them.
  explicit CoolingDevices(const SysRoot& root);
  bool empty() const { return devices_.empty(); }
  /// Of a metric of transitions, without container and feature.
  pwr::MetricDescription describe() const;

  void sample(unsigned long long now, const pwr::MetricDescription* metric, SampleBatch& batch);

 private:
  struct Device {
    OpenFile file;
    const pwr::EntityHandle* entity = nullptr;
    std::optional<unsigned long long> state;  // as of the last pass
    std::optional<unsigned long long> told;   // the state told last
    bool isTold = false;                      // whether any was
    bool isMet = false;                       // whether a pass has looked for its state
    bool isGone = false;
  };

  void find();
  std::optional<std::size_t> open(const std::string& name);
  void read(Device& device);

  const SysRoot* root_;
  std::vector<Device> devices_;
  DeviceSet<std::size_t> present_;  // places in devices_
  NamedEntities entities_{"Cooling Device"};
  unsigned long long highestState_ = 0;  // of all devices
  const pwr::DataDescriptor* descriptor_ = nullptr;
  Interval interval_;
};

}  // namespace tavrin
