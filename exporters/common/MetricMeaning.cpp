#include "exporters/common/MetricMeaning.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <initializer_list>
#include <string_view>

#include "hostcommon/SeriesNames.h"
#include "writers/common/StateDepth.h"
#include "writers/host/Process.h"
#include "writers/host/Quantity.h"

namespace {

using pwr::QuantityType;
using Type = pwr::Metric::MetricType;

QuantityType kindOf(const pwr::Quantity* quantity) {
  return quantity == nullptr ? QuantityType::Other : quantity->toQuantity();
}

/// Whether the metric's name or feature has one of the words, which are in lower case.
bool mentions(const pwr::MetricDescription& metric, std::initializer_list<std::string_view> words) {
  std::string text = metric.name + " " + metric.featureTag;
  std::ranges::transform(text, text.begin(), [](char character) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  });
  return std::ranges::any_of(
      words, [&](std::string_view word) { return text.find(word) != std::string::npos; });
}

bool announces(const pwr::MetricDescription& metric, std::string_view attribute) {
  if (metric.valueGroup == nullptr) return false;
  const auto& expected = metric.valueGroup->getExpectedAttributes();
  return std::any_of(expected.begin(), expected.end(), [&](const pwr::Attribute* one) {
    return one != nullptr && one->getName() == attribute;
  });
}

/// Numbers of a set are states, unless they measure something.
bool hasNumberedStates(const pwr::MetricDescription& metric) {
  const QuantityType kind = kindOf(metric.quantity);
  if (kind == QuantityType::State) return true;
  return metric.type == Type::TracedValueTransition && !metric.finiteSet.empty() &&
         metric.quantity == nullptr;
}

bool isPerProcessMetric(const pwr::MetricDescription& metric) {
  return metric.type == Type::TracedEvent && announces(metric, pwr::kPidAttribute) &&
         metric.quantity != nullptr && !metric.quantity->toUnitsString().empty() &&
         !pwr::isRate(metric.quantity);
}

bool isOfProcessors(const pwr::MetricDescription& metric) {
  constexpr std::array<std::string_view, 4> kLevels{"Package", "Module", "Core", "Thread"};
  return metric.entities.empty() || metric.entities.front() == nullptr ||
         std::ranges::count(kLevels, metric.entities.front()->getLevel()) > 0;
}

MetricRole roleOfStates(const pwr::MetricDescription& metric) {
  if (announces(metric, pwr::kTidAttribute)) return MetricRole::Task;
  if (mentions(metric, {"c-state", "cstate", "idle", "sleep"})) return MetricRole::Idle;
  if (mentions(metric, {"cpu-time", "cpu time"})) return MetricRole::CpuTime;
  return isOfProcessors(metric) ? MetricRole::Other : MetricRole::DeviceState;
}

MetricRole roleOfValues(const pwr::MetricDescription& metric, const MetricMeaning& meaning) {
  const QuantityType kind = kindOf(metric.quantity);
  if (meaning.isPerProcess) {
    return kind == QuantityType::Energy ? MetricRole::ProcessEnergy : MetricRole::ProcessTime;
  }
  if (kind == QuantityType::Frequency) return MetricRole::Frequency;
  if (kind == QuantityType::Temperature) return MetricRole::Temperature;
  const bool isPower = kind == QuantityType::Power || meaning.scale.unit == "W";
  return isPower ? MetricRole::Power : MetricRole::Other;
}

ValueScale gaugeOf(const pwr::Quantity* quantity, double ticksPerSecond) {
  if (quantity == nullptr) return {};
  if (pwr::isTime(quantity)) return {.unit = "s", .factor = 1.0 / ticksPerSecond};
  return {.unit = quantity->toUnitsString()};
}

/// Where some state is that of full activity, the others are all that there are.
std::string restStateOf(const pwr::MetricDescription& metric) {
  for (const auto& combination : metric.combinations) {
    if (combination.descriptor == nullptr) return {};
    if (stateDepth(combination.descriptor->getName()) == 0.0) return {};
  }
  return mentions(metric, {"cpu"}) ? "Busy" : "Awake";
}

}  // namespace

ValueScale rateOf(const pwr::Quantity* quantity, double ticksPerSecond) {
  constexpr double kPercent = 100.0;
  ValueScale scale{.isRate = true};
  const std::string units = quantity == nullptr ? "" : quantity->toUnitsString();
  const pwr::BaseUnit base = pwr::baseUnitOf(quantity, ticksPerSecond);
  const double seconds = base.name == "seconds" ? base.of(1.0) : 0.0;
  const double joules = base.name == "joules" ? base.of(1.0) : 0.0;
  if (seconds != 0.0) {
    scale.unit = "%";
    scale.factor = seconds * kPercent;
    scale.totalUnit = "s";
    scale.totalFactor = seconds;
    return scale;
  }
  const pwr::Quantity* rate = nullptr;
  if (quantity != nullptr && quantity->getRateConversion(rate, scale.factor) == 0) {
    scale.unit = rate->toUnitsString();
  } else {
    scale.factor = joules != 0.0 ? joules : 1.0;
    scale.unit = joules != 0.0 ? "W" : (units == "count" ? "" : units) + "/s";
  }
  scale.totalUnit = joules != 0.0 ? "J" : units;
  scale.totalFactor = joules != 0.0 ? joules : 1.0;
  return scale;
}

MetricMeaning meaningOf(const pwr::MetricDescription& metric, double ticksPerSecond) {
  MetricMeaning meaning;
  const bool isResidency = metric.type == Type::SampledResidency;
  meaning.hasStates = isResidency || hasNumberedStates(metric);
  meaning.isPerProcess = isPerProcessMetric(metric);
  const bool isCounter = metric.type == Type::SampledDelta || meaning.isPerProcess;
  const bool isRate = isCounter && !pwr::isRate(metric.quantity);
  meaning.scale =
      isRate ? rateOf(metric.quantity, ticksPerSecond) : gaugeOf(metric.quantity, ticksPerSecond);
  const bool namesStates = meaning.hasStates && (isResidency || metric.type != Type::TracedEvent);
  meaning.role = namesStates ? roleOfStates(metric) : roleOfValues(metric, meaning);
  if (isResidency && meaning.role == MetricRole::Idle) meaning.restState = restStateOf(metric);
  return meaning;
}
