#include "writers/timeline/TimelineGroups.h"

#include <algorithm>
#include <array>
#include <string>

#include "writers/host/Quantity.h"

namespace {

constexpr std::string_view kPower = "Power";
constexpr std::string_view kTemperature = "Temperature";
constexpr std::string_view kThermals = "Thermals";

struct FeatureWord {
  std::string_view word;  // part of a feature's switch
  std::string_view group;
};

constexpr std::array<FeatureWord, 6> kFeatureWords{{
    {"abort", "Aborts"},
    {"wake", "Wakeups"},
    {"interrupt", "Wakeups"},
    {"vm", "VM Residency"},
    {"therm", kThermals},
    {"temp", kThermals},
}};

std::string_view sleepGroup(const pwr::Metric& metric) {
  const auto& entities = metric.getEntityList();
  const std::string level = entities.empty() ? "" : entities.front()->getLevel();
  if (level == "Package") return "Package C-State";
  if (level == "Module") return "Module C-State";
  return "Core C-State";
}

std::string_view groupByFeature(const pwr::Metric& metric) {
  const std::string& feature = metric.getFeatureSwitchTag();
  if (feature.find("cstate") != std::string::npos || feature.find("c-state") != std::string::npos) {
    return sleepGroup(metric);
  }
  for (const FeatureWord& entry : kFeatureWords) {
    if (feature.find(entry.word) != std::string::npos) return entry.group;
  }
  return kPower;
}

}  // namespace

TimelineGroups timelineGroupsOf(const pwr::Metric& metric) {
  const pwr::Quantity* const quantity = metric.getQuantity();
  if (quantity != nullptr && quantity->toQuantity() == pwr::QuantityType::Temperature) {
    return {kThermals, kTemperature};
  }
  const std::string_view group = groupByFeature(metric);
  return {group, group};
}

std::string_view shortGroupName(std::string_view name) {
  if (name == kPower) return "power";
  if (name == kTemperature) return "temperature";
  return name == kThermals ? "thermals" : name;
}
