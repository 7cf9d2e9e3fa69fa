#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tavrin/collect/DeviceSet.h"
#include "tavrin/collect/Feature.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/ScaledDevices.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/collect/TimeTable.h"
#include "tavrin/collect/ValueTable.h"

namespace tavrin {

/// Frequencies of graphics units, time that they were powered down (RC6), how busy they were, from
/// the folders of /sys/class/drm: `gt/gtN` where the driver has several units, else those of the
/// card; `device/gpu_busy_percent` as Documentation/gpu/amdgpu/thermal.rst has it. A powered down
/// unit has no actual frequency: it is 0. The kernel's frequency scaling of other devices than
/// processors, usually graphics units and memory, is here too.
class GpuFeature : public Feature {
 public:
  GpuFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;
  void remainder(SampleBatch& batch) const override;

 private:
  struct Gauge {
    OpenFile file;
    ValueTable* table;
    std::size_t row;
  };
  struct Card {
    std::vector<Gauge> gauges;
    std::vector<std::pair<OpenFile, std::size_t>> rc6;  // with rows of the table
    bool isEmpty() const { return gauges.empty() && rc6.empty(); }
  };

  void findCards();
  std::optional<Card> open(const std::string& name);
  void addGauge(Card& card, const std::string& path, const std::string& name, const char* value,
                ValueTable& table);
  void addTime(Card& card, const std::string& path, const std::string& name);
  const pwr::DataDescriptor* descriptor(const char* name);
  void read();
  void createMetrics(unsigned int containerId);
  const pwr::MetricDescription* add(std::optional<pwr::MetricDescription> metric,
                                    unsigned int containerId);

  const SysRoot* root_ = nullptr;
  Interval interval_;
  DeviceSet<Card> cards_;
  NamedEntities entities_{"GPU"};
  std::map<std::string, const pwr::DataDescriptor*> descriptors_;
  ValueTable frequencies_;
  ValueTable busy_;
  TimeTable rc6_;
  std::optional<ScaledDevices> scaled_;
  // Null where there are none.
  const pwr::MetricDescription* frequencyMetric_ = nullptr;
  const pwr::MetricDescription* busyMetric_ = nullptr;
  const pwr::MetricDescription* rc6Metric_ = nullptr;
  const pwr::MetricDescription* scaledMetric_ = nullptr;
  const pwr::MetricDescription* scaledTimesMetric_ = nullptr;
};

}  // namespace tavrin
