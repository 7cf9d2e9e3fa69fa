#include "writers/timeline/MetricInfos.h"

#include <set>

#include "writers/timeline/TimelineLog.h"

using pwrfile::kNone;
using pwrfile::MetricClass;
namespace info_type = pwrfile::info_type;

namespace {

using Type = pwr::Metric::MetricType;

std::uint64_t newId() {
  return pwr::UniqueId().getId();
}

std::string_view nameOf(MetricClass metricClass) {
  for (const pwrfile::MetricClassName& entry : pwrfile::kMetricClasses) {
    if (entry.metricClass == metricClass) return entry.longName;
  }
  return {};
}

/// The name of the state that a value stands for: its text, with its unit where there is one.
std::string stateName(const pwr::Data& value, const pwr::Quantity* quantity) {
  std::string name;
  value.toString(name);
  if (value.isNumeric() && quantity != nullptr && !quantity->toUnitsString().empty()) {
    name += ' ' + quantity->toUnitsString();
  }
  return name;
}

/// Several entities have the same states.
bool isNewState(const std::string& name, std::set<std::string>& written) {
  if (written.insert(name).second) return true;
  TIMELINE_DEBUG("State '%s' metadata already processed. Skipping...\n", name.c_str());
  return false;
}

bool nameFits(const pwr::Metric& metric) {
  return metric.getName().size() + metric.getFeatureSwitchTag().size() + info_type::kMetric.size() +
             1 <=
         pwrfile::info_record::kMaxNames;
}

}  // namespace

MetricClass metricClassOf(const pwr::Metric& metric) {
  const bool isFinite = !metric.getFiniteSetValues().empty();
  switch (metric.getMetricType()) {
    case Type::SampledDelta:
      return isFinite ? MetricClass::FiniteSetCounter : MetricClass::Counter;
    case Type::SampledResidency:
      return MetricClass::FiniteSetCounter;
    case Type::SampledValue:
      return isFinite ? MetricClass::FiniteSetValue : MetricClass::Value;
    case Type::TracedValueTransition:
      return MetricClass::TracedFiniteSet;
    case Type::TracedEvent:
      break;
  }
  return MetricClass::TracedEvent;
}

MetricInfos::Announced MetricInfos::announce(const pwr::Metric& metric) {
  Announced announced;
  const pwr::Quantity* const quantity = metric.getQuantity();
  if (quantity != nullptr) announced.quantity = quantities_.idOf(quantity);
  const TimelineGroups groups = timelineGroupsOf(metric);
  announced.tab = tabId_i(groups.tab);
  if (announced.tab != kNone) announced.timeline = timelineId_i(groups, announced.tab);

  const char* fault = nullptr;
  if (quantity != nullptr && announced.quantity == kNone) {
    fault = "Quantity metadata needs to be processed first.";
  } else if (announced.tab == kNone) {
    fault = "Tab group metadata needs to be processed first.";
  } else if (announced.timeline == kNone) {
    fault = "Timeline group metadata needs to be processed first.";
  } else if (!nameFits(metric)) {
    fault = "Metric name too long.";
  }
  if (fault == nullptr) {
    announced.id = newId();
  } else {
    TIMELINE_WARNING("%s\n", fault);
  }
  return announced;
}

std::uint64_t MetricInfos::tabId_i(std::string_view name) {
  const auto known = tabs_.find(name);
  if (known != tabs_.end()) return known->second;
  const std::uint64_t id = writeGroup_i("tab", info_type::kTabGroup, name, kNone);
  return id == kNone ? kNone : tabs_.emplace(name, id).first->second;
}

std::uint64_t MetricInfos::timelineId_i(const TimelineGroups& groups, std::uint64_t tabId) {
  const auto known = timelines_.find(groups);
  if (known != timelines_.end()) return known->second;
  const std::uint64_t id =
      writeGroup_i("timeline", info_type::kTimelineGroup, groups.timeline, tabId);
  return id == kNone ? kNone : timelines_.emplace(groups, id).first->second;
}

/// Returns the new group's id, or `kNone` when it cannot be written.
std::uint64_t MetricInfos::writeGroup_i(const char* kind, std::string_view typeName,
                                        std::string_view name, std::uint64_t parent) {
  const std::uint64_t id = newId();
  const std::string text(name);
  if (infos_.writeNew(typeName, {name, shortGroupName(name), {}}, 0, id, parent) != 0) {
    TIMELINE_WARNING("Failed to write %s group metadata '%s:%llu'.\n", kind, text.c_str(),
                     static_cast<unsigned long long>(id));
    return kNone;
  }
  TIMELINE_DEBUG("Wrote %s group metadata '%s:%llu'.\n", kind, text.c_str(),
                 static_cast<unsigned long long>(id));
  return id;
}

int MetricInfos::write(const pwr::Metric& metric, const Announced& announced) {
  const std::string name = metric.getName();
  if (infos_.writeNew(info_type::kMetric, {name, metric.getFeatureSwitchTag(), {}}, metric.getId(),
                      announced.id, kNone) != 0) {
    return 1;
  }
  return writeRelations_i(metric, announced) != 0 || writeStates_i(metric, announced.id) != 0 ? 1
                                                                                              : 0;
}

int MetricInfos::writeRelations_i(const pwr::Metric& metric, const Announced& announced) {
  const MetricClass metricClass = metricClassOf(metric);
  const TimelineGroups groups = timelineGroupsOf(metric);
  const Relation relations[] = {
      {info_type::kMetricTypeOf, nameOf(metricClass), static_cast<std::uint64_t>(metricClass)},
      {info_type::kTabGroupOf, groups.tab, announced.tab},
      {info_type::kTimelineGroupOf, groups.timeline, announced.timeline},
  };
  for (const Relation& relation : relations) {
    if (writeRelation_i(metric, announced.id, relation) != 0) return 1;
  }
  if (const pwr::Quantity* const quantity = metric.getQuantity(); quantity != nullptr) {
    const Relation relation{info_type::kQuantityOf, quantity->toQuantityString(),
                            announced.quantity};
    if (writeRelation_i(metric, announced.id, relation) != 0) return 1;
  }
  return writeFields_i(metric, announced.id);
}

int MetricInfos::writeFields_i(const pwr::Metric& metric, std::uint64_t metricId) {
  std::set<const pwr::DataDescriptor*> written;
  for (const auto& combination : metric.getEntityDescriptorCombinations()) {
    const pwr::DataDescriptor* const field = combination.descriptor;
    if (field == nullptr || !written.insert(field).second) continue;
    const std::uint64_t fieldId = descriptions_.fieldId(*field);
    if (fieldId == kNone) return 1;
    if (writeRelation_i(metric, metricId, {info_type::kFieldOf, field->getName(), fieldId}) != 0) {
      return 1;
    }
  }
  return 0;
}

int MetricInfos::writeRelation_i(const pwr::Metric& metric, std::uint64_t metricId,
                                 const Relation& relation) {
  const std::string name = metric.getName();
  const InfoTexts texts = InfoTexts{name, relation.shortName, {}}.fitting(relation.typeName);
  return infos_.writeNew(relation.typeName, texts, relation.value, newId(), metricId);
}

int MetricInfos::writeStates_i(const pwr::Metric& metric, std::uint64_t metricId) {
  std::set<std::string> written;
  if (metricClassOf(metric) != MetricClass::FiniteSetCounter) {
    for (const pwr::Data& value : metric.getFiniteSetValues()) {
      const std::string name = stateName(value, metric.getQuantity());
      if (!isNewState(name, written)) continue;
      const std::uint64_t color = descriptions_.colorId(value, metric.getQuantity());
      if (writeState_i(name, color, metricId) != 0) return 1;
    }
    return 0;
  }
  // The states of a counter are its fields: how often or how long each of them was taken.
  for (const auto& combination : metric.getEntityDescriptorCombinations()) {
    if (combination.descriptor == nullptr) continue;
    const std::string& name = combination.descriptor->getName();
    if (!isNewState(name, written)) continue;
    if (writeState_i(name, descriptions_.colorId(name), metricId) != 0) return 1;
  }
  return 0;
}

int MetricInfos::writeState_i(const std::string& name, std::uint64_t color,
                              std::uint64_t metricId) {
  if (color == kNone) return 1;
  const InfoTexts texts = InfoTexts{name, name, {}}.fitting(info_type::kState);
  return infos_.writeNew(info_type::kState, texts, color, newId(), metricId);
}
