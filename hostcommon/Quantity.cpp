#include "writers/host/Quantity.h"

#include "hostcommon/Descriptions.h"
#include "hostcommon/ImmortalStore.h"
#include "writers/host/HostFunctions.h"

namespace pwr {

Quantity::Quantity(QuantityDescription description) : description_(std::move(description)) {}

const Quantity* Quantity::time() {
  static const Quantity* const time =
      createQuantity({.type = QuantityType::Time, .name = "Time", .units = "ticks"});
  return time;
}

namespace {

// Created when the library is loaded, so that its id is the same in every process.
[[maybe_unused]] const Quantity* const g_firstQuantity = Quantity::time();

}  // namespace

void Quantity::toTitleString(std::string& out) const {
  out = description_.title.empty() ? description_.name : description_.title;
}

int Quantity::getRateConversion(const Quantity*& rateQuantity, double& factor) const {
  if (description_.rate == nullptr) return 1;
  rateQuantity = description_.rate;
  factor = description_.rateFactor;
  return 0;
}

bool showsTicks() {
  return check_env("PW_DO_TIMELINE_TSC");
}

std::string shownUnits(const Quantity* quantity) {
  if (isTime(quantity)) return showsTicks() ? "ticks" : "ms";
  return quantity == nullptr ? std::string() : quantity->toUnitsString();
}

const Quantity* createQuantity(QuantityDescription description) {
  return ImmortalStore<Quantity>::instance().keep(
      std::unique_ptr<const Quantity>(new Quantity(std::move(description))));
}

}  // namespace pwr
