#pragma once

#include <string>

#include "writers/host/HostApi.h"
#include "writers/host/UniqueId.h"

namespace pwr {

/// Kinds of physical quantity. The number of Rate is part of the host interface.
enum class QuantityType : int {
  Count = 0,
  Time = 1,        ///< ticks of the timestamp clock
  Percentage = 2,  ///< 0 to 100
  Temperature = 3,
  Frequency = 4,
  Energy = 5,
  Power = 6,
  Voltage = 7,
  Size = 8,
  Rate = 9,         ///< already per unit of time; its durations are not in ticks
  StateEntry = 10,  ///< number of times that a state was entered
  State = 11,       ///< the value names a state
  Other = 12,
};

class Quantity;

/// What a `Quantity` is made of.
struct QuantityDescription {
  QuantityType type = QuantityType::Other;
  std::string name;   ///< "Energy"
  std::string units;  ///< "mJ"; empty for a pure number
  std::string title;  ///< for headings; `name` when empty
  /// The quantity of (value × rateFactor / seconds); null when the quantity has no rate.
  const Quantity* rate = nullptr;
  double rateFactor = 1.0;
};

/// A physical quantity with its unit and, where there is one, its conversion to a rate. Immutable;
/// lives as long as the process.
class PW_HOST_API Quantity : public UniqueId {
 public:
  Quantity(const Quantity&) = delete;
  Quantity& operator=(const Quantity&) = delete;

  /// The quantity of durations in ticks of the timestamp clock.
  static const Quantity* time();

  QuantityType toQuantity() const { return description_.type; }
  const std::string& toQuantityString() const { return description_.name; }
  const std::string& toUnitsString() const { return description_.units; }
  void toTitleString(std::string& out) const;
  /// The rate of this quantity is value × `factor` / seconds, in units of `rateQuantity`. Returns
  /// 1, leaving both alone, when there is none.
  int getRateConversion(const Quantity*& rateQuantity, double& factor) const;

 private:
  friend PW_HOST_API const Quantity* createQuantity(QuantityDescription description);
  explicit Quantity(QuantityDescription description);

  const QuantityDescription description_;
};

/// Whether values of `quantity`, which may be null, are per unit of time already. The durations of
/// their elements are in the quantity's own unit then, and in ticks of the timestamp clock
/// otherwise.
inline bool isRate(const Quantity* quantity) {
  return quantity != nullptr && quantity->toQuantity() == QuantityType::Rate;
}

/// Whether values of `quantity`, which may be null, are ticks of the timestamp clock.
inline bool isTime(const Quantity* quantity) {
  return quantity != nullptr && quantity->toQuantity() == QuantityType::Time;
}

/// Whether outputs show times as the ticks that they are, which the environment switch
/// PW_DO_TIMELINE_TSC asks for. Reports show milliseconds otherwise.
PW_HOST_API bool showsTicks();

/// The unit in which reports show values of `quantity`, which may be null; empty when there is
/// none.
PW_HOST_API std::string shownUnits(const Quantity* quantity);

}  // namespace pwr
