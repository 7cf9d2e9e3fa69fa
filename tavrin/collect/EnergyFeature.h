#pragma once

#include <string>
#include <vector>

#include "tavrin/collect/Feature.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/PowerZones.h"

namespace tavrin {

/// Energy in mJ of each power zone; its rate is power in W. A counter that has run backwards is
/// taken to have wrapped once at its range where that gives a power which the zone can have;
/// otherwise, as when its driver began anew, the interval is a gap, as it is without a readable
/// range. Zones are entities of their own, without parents: a package's energy includes that of its
/// parts. One that cannot be read at the start is described, and has no values.
class EnergyFeature : public Feature {
 public:
  EnergyFeature();

  std::string probe(const SysRoot& root, CpuEntities& cpus, unsigned int containerId) override;
  void sample(unsigned long long now, SampleBatch& batch) override;

 private:
  struct Zone {
    std::string key;
    const pwr::EntityHandle* entity = nullptr;
    OpenFile energy{std::string()};
    OpenFile range{std::string()};
    double mostMicrowatts = 0;           // that it may draw or has drawn; 0 for unknown
    unsigned long long microjoules = 0;  // as of the last pass
    bool valid = false;                  // whether that pass could read them
    bool lost = false;                   // not in its folder any more
  };

  void createMetric(unsigned int containerId,
                    std::vector<pwr::Metric::EntityDescCombo> combinations);
  int open(Zone& zone, const std::string& folder);
  bool growth(Zone& zone, unsigned long long now, unsigned long long& microjoules);
  void findLostZones();

  const SysRoot* root_ = nullptr;
  Interval interval_;
  std::vector<Zone> zones_;
  const pwr::DataDescriptor* descriptor_ = nullptr;
};

}  // namespace tavrin
