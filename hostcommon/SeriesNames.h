#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "writers/host/DataDescriptor.h"
#include "writers/host/EntityHandle.h"
#include "writers/host/Quantity.h"

/// How series are named and in which units their values are, for those that hand them to time
/// series engines: docs/formats/lines.md.
namespace pwr {

/// The text as a name of `[a-z0-9_]`: in lower case, with one '_' for each run of anything else and
/// none at its ends. "unnamed" where nothing is left; one that begins with a digit gets a '_'
/// before it. Cut behind `kMostPlainName` bytes.
std::string plainName(std::string_view text);
inline constexpr std::size_t kMostPlainName = 200;

/// The base unit of a quantity, and how a value in the quantity's own unit gets there.
struct BaseUnit {
  /// "seconds", "joules", "watts", "volts", "amperes", "hertz", "celsius", "bytes", "percent"; with
  /// "_per_second" and the like where it is a rate. Empty for a number of things, and the plain
  /// name of a unit that is not known.
  std::string name;
  double factor = 1.0;
  /// Behind the factor, as quotients of decimal powers have short texts where products do not.
  double divisor = 1.0;

  /// The value in the base unit, rounded once unless both factors differ from 1.
  double of(double value) const { return value * factor / divisor; }
};

/// `quantity` may be null: a number of things. `ticksPerSecond` is that of the timestamp clock.
BaseUnit baseUnitOf(const Quantity* quantity, double ticksPerSecond);

/// The name of a metric's measurement: its plain name and the unit, unless it ends in that already.
std::string measurementName(std::string_view metric, const BaseUnit& unit);

/// The name of a descriptor's field, "value" where there is none.
std::string fieldName(const DataDescriptor* descriptor);

/// The tag or label of a series.
struct SeriesTag {
  std::string key;
  std::string value;
  bool operator==(const SeriesTag&) const = default;
};

/// Which entity it is: one tag for each level, from that of the outermost parent to its own; of
/// those on one level the names are joined by '/'. Its level is a tag's key, "entity" where it has
/// none, with "entity_" before a key that has another meaning (host, state, time ...). Of very many
/// parents the outer ones are left out. None for a null `entity`.
std::vector<SeriesTag> tagsOf(const EntityHandle* entity);

/// The longest text that a tag's value is made of, in bytes; longer ones are cut. So no line has
/// more than 64 KiB, which InfluxDB limits its tags to.
inline constexpr std::size_t kMostTagText = 500;

/// Appends ",key=value" to the tags of a line, with the value spelled as both InfluxDB and
/// VictoriaMetrics read it. False when the value had to be cut.
bool appendTag(std::string& tags, std::string_view key, std::string_view value);

/// Gives each name once: later ones that are the same get "_2", "_3" ... behind them.
class UniqueNames {
 public:
  std::string take(const std::string& name);

 private:
  std::unordered_map<std::string, int> taken_;  // what to try next
};

}  // namespace pwr
