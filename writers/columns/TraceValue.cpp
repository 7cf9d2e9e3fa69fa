#include "writers/columns/TraceValue.h"

#include "writers/host/Quantity.h"

namespace {

const char* computeRate(double& number, const pwr::Metric& metric, const pwr::DataElement& element,
                        const TraceClock& clock) {
  double factor = 1.0;
  double value = 0.0;
  if (rateQuantityOf(metric, factor) == nullptr) {
    return "WARNING: Rate conversion is not specified. Unable to calculate rate.\n";
  }
  if (!element.getValue()->isNumeric() || element.getValue()->toReal(value) != 0) {
    return "WARNING: Calculation of instantaneous rate is requested, but the value is not "
           "numeric.\n";
  }
  const double seconds =
      static_cast<double>(element.getDuration()) / (clock.ticksPerMicrosecond * 1000000.0);
  number = value * (factor / seconds);
  return nullptr;
}

}  // namespace

const pwr::Quantity* rateQuantityOf(const pwr::Metric& metric, double& factor) {
  const pwr::Quantity* rate = nullptr;
  const pwr::Quantity* const quantity = metric.getQuantity();
  if (quantity != nullptr) quantity->getRateConversion(rate, factor);
  return rate;
}

const char* computeTraceValue(double& number, const pwr::Metric& metric,
                              const pwr::DataElement& element, TraceMode mode,
                              const TraceClock& clock) {
  if (mode == TraceMode::Rate) return computeRate(number, metric, element, clock);
  const bool asPercentage = mode == TraceMode::Percentage;
  unsigned long long ticks = 0;
  if (element.getValue()->getType() != pwr::DataType::UInt ||
      element.getValue()->toUInt(ticks) != 0) {
    return asPercentage ? "WARNING: Calculation of residency percentages is requested, but the "
                          "value is not of uint type.\n"
                        : "WARNING: Calculation of time in micro-seconds is requested, but the "
                          "value is not of uint type.\n";
  }
  const auto value = static_cast<double>(ticks);
  number = asPercentage ? value / static_cast<double>(element.getDuration()) * 100.0
                        : value / clock.ticksPerMicrosecond;
  return nullptr;
}

const char* formatDynamic(const pwr::DataHandle*& attribute, std::string& text, std::uint64_t id,
                          const pwr::Data& value, int (pwr::Data::*toText)(std::string&) const) {
  if (pwr::DataHandle::get(id, attribute) != 0) {
    attribute = nullptr;
    return "WARNING: Failed to get handle for dynamic attribute\n";
  }
  if (value.getType() == pwr::DataType::Handle) {
    const pwr::DataHandle* named = nullptr;
    if (value.toHandle(named) != 0 || named == nullptr) {
      return "WARNING: Failed to retrieve name for dynamic attribute";
    }
    text = named->getName();
    return nullptr;
  }
  if ((value.*toText)(text) == 0) return nullptr;
  const auto* const typed = dynamic_cast<const pwr::Attribute*>(attribute);
  return typed != nullptr && typed->getAttributeType() == pwr::AttributeType::Info
             ? "WARNING: Failed to process info attribute\n"
             : "WARNING: Failed to process dynamic attribute\n";
}

std::string traceUnits(TraceMode mode, const pwr::Quantity* quantity) {
  if (mode == TraceMode::Percentage) return "%";
  if (mode == TraceMode::Time) return "usec";
  return quantity == nullptr ? "" : quantity->toUnitsString();
}

std::string traceUnitSuffix(TraceMode mode, const pwr::Quantity* quantity) {
  const bool known =
      quantity != nullptr || mode == TraceMode::Percentage || mode == TraceMode::Time;
  return known ? " (" + traceUnits(mode, quantity) + ")" : "";
}
