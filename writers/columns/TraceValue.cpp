#include "writers/columns/TraceValue.h"

#include "writers/common/TextLog.h"
#include "writers/host/Quantity.h"

namespace {

bool computeRate(double& number, const pwr::Metric& metric, const pwr::DataElement& element,
                 const TraceClock& clock) {
  double factor = 1.0;
  double value = 0.0;
  if (rateQuantityOf(metric, factor) == nullptr) {
    PW_LOG(kTextLog, PW_LOG_WARNING,
           "WARNING: Rate conversion is not specified. Unable to calculate rate.\n");
    return false;
  }
  if (!element.getValue()->isNumeric() || element.getValue()->toReal(value) != 0) {
    PW_LOG(kTextLog, PW_LOG_WARNING,
           "WARNING: Calculation of instantaneous rate is requested, but the value is not "
           "numeric.\n");
    return false;
  }
  const double seconds =
      static_cast<double>(element.getDuration()) / (clock.ticksPerMicrosecond * 1000000.0);
  number = value * (factor / seconds);
  return true;
}

}  // namespace

const pwr::Quantity* rateQuantityOf(const pwr::Metric& metric, double& factor) {
  const pwr::Quantity* rate = nullptr;
  const pwr::Quantity* const quantity = metric.getQuantity();
  if (quantity != nullptr) quantity->getRateConversion(rate, factor);
  return rate;
}

bool computeTraceValue(double& number, const pwr::Metric& metric, const pwr::DataElement& element,
                       TraceMode mode, const TraceClock& clock) {
  if (mode == TraceMode::Rate) return computeRate(number, metric, element, clock);
  const bool asPercentage = mode == TraceMode::Percentage;
  unsigned long long ticks = 0;
  if (element.getValue()->getType() != pwr::DataType::UInt ||
      element.getValue()->toUInt(ticks) != 0) {
    PW_LOG(kTextLog, PW_LOG_WARNING, "%s",
           asPercentage ? "WARNING: Calculation of residency percentages is requested, but the "
                          "value is not of uint type.\n"
                        : "WARNING: Calculation of time in micro-seconds is requested, but the "
                          "value is not of uint type.\n");
    return false;
  }
  const auto value = static_cast<double>(ticks);
  number = asPercentage ? value / static_cast<double>(element.getDuration()) * 100.0
                        : value / clock.ticksPerMicrosecond;
  return true;
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
