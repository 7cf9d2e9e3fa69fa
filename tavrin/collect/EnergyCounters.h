#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tavrin/collect/DeviceSet.h"
#include "tavrin/collect/Interval.h"
#include "tavrin/collect/OpenFile.h"
#include "tavrin/collect/SysRoot.h"
#include "tavrin/collect/Turns.h"
#include "writers/host/EntityHandle.h"

namespace tavrin {

/// The energy counters of the power zones (Documentation/power/powercap/powercap.rst), read once
/// per sampling pass however many features need them. A counter that has run backwards is taken to
/// have wrapped once at its range where that gives a power which the zone can have; otherwise, as
/// when its driver began anew, the interval is a gap, as it is without a readable range. Where the
/// files of zones cannot stay open, those of packages are read in every pass and others by turns.
/// Zones that come with their drivers join.
class EnergyCounters {
 public:
  struct Zone {
    std::string key;
    const pwr::EntityHandle* entity = nullptr;
    bool isPackage = false;
    OpenFile energy{std::string()};
    OpenFile range{std::string()};
    double mostMicrowatts = 0;           // that it may draw or has drawn; 0 for unknown
    unsigned long long microjoules = 0;  // as of the last pass
    bool valid = false;                  // whether that pass could read them
    bool lost = false;                   // not in its folder any more
    Interval interval = {};              // between the last two readings
    /// In the interval, if that ended with the last pass; empty where it is not known.
    std::optional<unsigned long long> used;
    unsigned long long total = 0;  ///< of all intervals, in microjoules
  };

  /// See `Feature`.
  void expectLast() { turns_.takeAll(); }

  /// Finds the zones and creates their entities. Again it does nothing. Returns "" or why there is
  /// nothing to read. `root` must outlive the counters.
  std::string open(const SysRoot& root);
  /// Reads the counters at `now` (ticks).
  void readAt(unsigned long long now);

  /// Those that could be read when they were met; they keep their places.
  const std::vector<Zone>& zones() const { return zones_; }
  /// Of all zones of the start, readable or not.
  const std::vector<const pwr::EntityHandle*>& entities() const { return entities_; }
  /// Of the packages' zones; others may have longer ones.
  const Interval& interval() const { return interval_; }

  /// What the packages used in the run, each counted once where several drivers tell of it. Empty
  /// where nothing was read.
  std::optional<unsigned long long> packageMicrojoules() const;

 private:
  int open(Zone& zone, const std::string& folder);
  void read(Zone& zone);
  static bool growth(Zone& zone, unsigned long long now, unsigned long long& microjoules);
  void findLostZones();
  void findNewZones();
  bool isInFolder(const std::string& folder) const;

  const SysRoot* root_ = nullptr;
  Interval interval_;
  std::optional<unsigned long long> now_;
  Turns turns_;
  bool isRead_ = false;  // whether some interval has ended
  std::vector<Zone> zones_;
  std::set<std::string> met_;  // keys of all zones, readable or not
  DeviceLooks looks_;          // for new ones
  std::vector<const pwr::EntityHandle*> entities_;
};

}  // namespace tavrin
