#include "tavrin/collect/EnergyCounters.h"

#include <algorithm>
#include <system_error>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/PowerZones.h"

namespace tavrin {

namespace {

/// Of a zone that tells no limits and has used nothing yet.
constexpr double kUnknownMicrowatts = 1e9;

/// The largest power that the zone's constraints allow or tell it to be built for, in microwatts; 0
/// where they tell nothing. Both are lower than short peaks.
double largestLimit(const SysRoot& root, const std::string& folder) {
  double largest = 0.0;
  for (const char* const ending : {"_power_limit_uw", "_max_power_uw"}) {
    for (const unsigned int number : root.listNumbered(folder, "constraint_", ending)) {
      unsigned long long microwatts = 0;
      const std::string file = folder + "/constraint_" + std::to_string(number) + ending;
      if (root.readNumber(file, microwatts) != 0) continue;
      largest = std::max(largest, static_cast<double>(microwatts));
    }
  }
  return largest;
}

}  // namespace

std::string EnergyCounters::open(const SysRoot& root) {
  if (root_ != nullptr) return {};
  root_ = &root;
  int failure = 0;
  const std::vector<PowerZone> present = findPowerZones(root);
  looks_.follow(root);
  for (const PowerZone& zone : present) {
    met_.insert(zone.key);
    zones_.push_back({.key = zone.key, .isPackage = zone.isPackage()});
    const int error = open(zones_.back(), zone.folder);
    if (error != 0) failure = error;
  }
  if (std::ranges::none_of(zones_, &Zone::valid)) {
    const std::string where = std::string(" below ") + kPowerZones;
    const bool isNone = zones_.empty();
    zones_.clear();
    met_.clear();
    root_ = nullptr;
    if (isNone) return "no energy counters" + where;
    // Usual on a machine that keeps the counters from all users but root.
    return "the energy counters" + where +
           " cannot be read: " + std::generic_category().message(failure);
  }
  for (std::size_t i = 0; i < zones_.size(); ++i) {
    zones_[i].entity = pwr::createEntity({.name = present[i].name, .level = "Power Zone"});
    entities_.push_back(zones_[i].entity);
  }
  std::erase_if(zones_, [](const Zone& zone) { return !zone.valid; });
  return {};
}

/// Meets the zone in a folder. Returns 0 or why its counter cannot be read there.
int EnergyCounters::open(Zone& zone, const std::string& folder) {
  zone.energy = OpenFile(root_->path(folder + "/energy_uj"));
  zone.range = OpenFile(root_->path(folder + "/max_energy_range_uj"));
  zone.mostMicrowatts = std::max(zone.mostMicrowatts, largestLimit(*root_, folder));
  const int error = zone.energy.readNumber(zone.microjoules);
  zone.valid = error == 0;
  return error;
}

/// What the zone used since the last pass. False when that is not known.
bool EnergyCounters::growth(Zone& zone, unsigned long long now, unsigned long long& microjoules) {
  const double seconds =
      static_cast<double>(zone.interval.length()) / static_cast<double>(kTicksPerSecond);
  if (now >= zone.microjoules) {
    microjoules = now - zone.microjoules;
  } else {
    unsigned long long range = 0;
    if (zone.range.readNumber(range) != 0 || range < zone.microjoules) return false;
    microjoules = range - zone.microjoules + now;
    const double most = zone.mostMicrowatts > 0.0 ? zone.mostMicrowatts : kUnknownMicrowatts;
    if (static_cast<double>(microjoules) >= 4.0 * most * seconds) return false;
  }
  zone.mostMicrowatts = std::max(zone.mostMicrowatts, static_cast<double>(microjoules) / seconds);
  return true;
}

void EnergyCounters::read(Zone& zone) {
  zone.used.reset();
  if (!zone.isPackage && !zone.energy.staysOpen() && !turns_.isNext(1)) return;
  const bool hasInterval = zone.interval.advance(*now_);
  // Whatever is in the folder of a lost zone may be another one.
  unsigned long long microjoules = 0;
  zone.lost = zone.lost || zone.energy.readNumber(microjoules) != 0;
  if (zone.lost) return;
  unsigned long long used = 0;
  if (hasInterval && zone.valid && growth(zone, microjoules, used)) {
    zone.used = used;
    zone.total += used;
  }
  zone.microjoules = microjoules;
  zone.valid = true;
}

void EnergyCounters::readAt(unsigned long long now) {
  if (now_ == now) return;
  now_ = now;
  isRead_ = interval_.advance(now) || isRead_;
  if (looks_.isDue(now)) findNewZones();
  turns_.beginPass(now);
  for (Zone& zone : zones_) read(zone);
  if (std::ranges::any_of(zones_, &Zone::lost)) findLostZones();
}

/// Meets lost zones in the folders that they have now. Their interval is a gap, as the driver may
/// have restarted the counter; the next one begins here.
void EnergyCounters::findLostZones() {
  const std::vector<PowerZone> present = findPowerZones(*root_);
  for (Zone& zone : zones_) {
    const auto found = std::ranges::find(present, zone.key, &PowerZone::key);
    if (!zone.lost || found == present.end()) continue;
    zone.lost = open(zone, found->folder) != 0;
  }
}

/// Whether a known zone is read there.
bool EnergyCounters::isInFolder(const std::string& folder) const {
  const std::string file = root_->path(folder + "/energy_uj");
  return std::ranges::any_of(
      zones_, [&](const Zone& zone) { return !zone.lost && zone.energy.path() == file; });
}

/// A zone whose name is taken gives all of the name other keys, so the known ones are known by
/// their folders.
void EnergyCounters::findNewZones() {
  for (const PowerZone& present : findPowerZones(*root_)) {
    if (isInFolder(present.folder) || !met_.insert(present.key).second) continue;
    Zone zone{.key = present.key, .isPackage = present.isPackage()};
    if (open(zone, present.folder) != 0) continue;
    zone.entity = pwr::createEntity({.name = present.name, .level = "Power Zone"});
    zones_.push_back(std::move(zone));
  }
}

std::optional<unsigned long long> EnergyCounters::packageMicrojoules() const {
  std::optional<unsigned long long> sum;
  std::string driver;
  for (const Zone& zone : zones_) {
    const std::string type = zone.key.substr(0, zone.key.find(':'));
    if (!isRead_ || !zone.isPackage || (!driver.empty() && type != driver)) continue;
    driver = type;
    sum = sum.value_or(0) + zone.total;
  }
  return sum;
}

}  // namespace tavrin
