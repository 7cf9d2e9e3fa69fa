#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tavrin/collect/DeviceSet.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/collect/TimeTable.h"
#include "tavrin/collect/ValueTable.h"

namespace tavrin {

/// Devices other than processors whose frequency the kernel chooses (graphics units, memory
/// controllers), from /sys/class/devfreq as Documentation/ABI/testing/sysfs-class-devfreq has them:
/// the frequency now, and the time at each.
class ScaledDevices {
 public:
  explicit ScaledDevices(const SysRoot& root);
  /// Of those found; each empty where no device tells it.
  std::optional<pwr::MetricDescription> describeFrequencies() const;
  std::optional<pwr::MetricDescription> describeTimes() const;

  /// A null metric takes nothing.
  void sample(unsigned long long now, const pwr::MetricDescription* frequencies,
              const pwr::MetricDescription* times, SampleBatch& batch);
  void remainder(const pwr::MetricDescription* times, SampleBatch& batch) const;

 private:
  struct Device {
    std::optional<OpenFile> frequency;
    std::size_t frequencyRow = 0;
    std::optional<OpenFile> table;
    std::size_t tableRow = 0;
    std::vector<unsigned long long> hertz;  // in the table
    std::vector<unsigned long long> times;  // reused
  };

  void findDevices();
  std::optional<Device> open(const std::string& name);
  bool read(Device& device);
  const pwr::DataDescriptor* descriptor(unsigned long long hertz);

  const SysRoot* root_;
  Interval interval_;
  DeviceSet<Device> devices_;
  NamedEntities entities_{"Device"};
  const pwr::DataDescriptor* frequency_ = nullptr;
  std::map<unsigned long long, const pwr::DataDescriptor*> descriptors_;  // by frequency
  ValueTable frequencies_;
  TimeTable times_;
};

}  // namespace tavrin
