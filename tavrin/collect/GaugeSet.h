#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tavrin/collect/DeviceSet.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/Turns.h"
#include "writers/host/Metric.h"

namespace tavrin {

/// Files that each hold the present value of some entity, in thousandths of the metric's unit.
/// The reading at the start of an interval stands for the interval; where it failed, the entity has
/// a gap. Those whose files cannot stay open are read by turns.
class GaugeSet {
 public:
  using Numbers = std::vector<std::size_t>;

  /// `valueName` names what the gauges show, in the descriptor that comes with the first gauge.
  explicit GaugeSet(std::string valueName) : valueName_(std::move(valueName)) {}

  /// Returns the number of the gauge, the same one for the same entity. Gauges may be added at any
  /// time; one that is there already stays as it is.
  std::size_t add(std::string path, const pwr::EntityHandle* entity);

  /// Where gauges belong to devices that come and go: see `DeviceSet`.
  void follow(const SysRoot& root) { devices_.follow(root); }
  bool isDue(unsigned long long now) { return devices_.isDue(now); }
  /// `keys` tell the devices that are there; `open(key)` adds the gauges of a new one and returns
  /// their numbers. All other gauges are gone. One whose file is gone waits for this too, as the
  /// next file of the name may be of another device.
  template <typename Open>
  void meet(const std::vector<std::string>& keys, const Open& open) {
    areOfDevices_ = true;
    devices_.forEach([this](const Numbers& gauges) { return areThere(gauges); });
    const auto openSome = [&](const std::string& key) {
      Numbers gauges = open(key);
      return gauges.empty() ? std::nullopt : std::optional(std::move(gauges));
    };
    devices_.meet(keys, openSome);
    keepThoseOfDevices();
  }

  bool empty() const { return gauges_.empty(); }
  /// One for each gauge, as the metric's description needs them.
  std::vector<pwr::Metric::EntityDescCombo> combinations() const;

  /// See `Feature`.
  void expectLast() { turns_.takeAll(); }
  /// Emits the interval that ends at `now` ticks and reads the values of the next one.
  void sample(unsigned long long now, const pwr::MetricDescription* metric, SampleBatch& batch);

 private:
  struct Gauge {
    OpenFile file;
    const pwr::EntityHandle* entity = nullptr;
    long long thousandths = 0;
    bool valid = false;
    bool isGone = false;
    Interval interval = {};
  };

  bool areThere(const Numbers& gauges) const;
  void keepThoseOfDevices();

  const std::string valueName_;
  const pwr::DataDescriptor* descriptor_ = nullptr;
  Turns turns_;
  std::vector<Gauge> gauges_;
  std::map<const pwr::EntityHandle*, std::size_t> numbers_;
  bool areOfDevices_ = false;
  DeviceSet<Numbers> devices_;
};

}  // namespace tavrin
