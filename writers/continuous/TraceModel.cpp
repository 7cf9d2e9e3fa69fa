#include "writers/continuous/TraceModel.h"

#include <utility>

#include "writers/host/Quantity.h"

namespace {

/// A point without states has room for two values. A metric with more descriptors per entity, or
/// whose descriptors name states, gets its descriptors as states: a value keeps its name then.
bool describesStates(const pwr::Metric& metric) {
  const pwr::Quantity* const quantity = metric.getQuantity();
  if (metric.getMetricType() == pwr::Metric::MetricType::SampledResidency) return true;
  if (quantity != nullptr && quantity->toQuantity() == pwr::QuantityType::StateEntry) return true;
  std::unordered_map<const pwr::EntityHandle*, int> descriptors;
  for (const pwr::Metric::EntityDescCombo& combo : metric.getEntityDescriptorCombinations()) {
    if (++descriptors[combo.entity] > 2) return true;
  }
  return false;
}

std::vector<AltUnit> altUnitsOf(const pwr::Quantity* quantity) {
  std::vector<AltUnit> units;
  if (quantity == nullptr) return units;
  units.push_back({.name = quantity->toQuantityString(),
                   .unit = quantity->toUnitsString(),
                   .isCalculatedRate = pwr::isRate(quantity)});
  const pwr::Quantity* rate = nullptr;
  double factor = 0.0;
  if (quantity->getRateConversion(rate, factor) == 0) {
    units.push_back({.name = rate->toQuantityString(),
                     .unit = rate->toUnitsString(),
                     .conversion = factor,
                     .isCalculatedRate = true});
  }
  return units;
}

}  // namespace

TraceModel::MetricState& TraceModel::stateOf(const pwr::Metric& metric) {
  const auto [place, isNew] = metrics_.try_emplace(metric.getId());
  if (isNew) {
    place->second.hasStates = describesStates(metric);
    place->second.isRate = pwr::isRate(metric.getQuantity());
  }
  return place->second;
}

TraceContainer* TraceModel::containerOf(const pwr::Metric& metric, MetricState& state,
                                        const pwr::EntityHandle* entity) {
  TraceContainer*& container = state.containers[entity == nullptr ? 0 : entity->getId()];
  if (container != nullptr) return container;
  const auto [place, isNew] = groupPlaces_.try_emplace(metric.getName(), groups_.size());
  if (isNew) groups_.emplace_back().name = metric.getName();
  Group& group = groups_[place->second];
  TraceContainer::Description description{.entity = entity,
                                          .metric = metric.getId(),
                                          .type = metric.getMetricType(),
                                          .altUnits = altUnitsOf(metric.getQuantity()),
                                          .hasStates = state.hasStates};
  group.containers.push_back(std::make_unique<TraceContainer>(std::move(description), *memory_));
  container = group.containers.back().get();
  return container;
}

void TraceModel::add(const pwr::Metric& metric) {
  MetricState& state = stateOf(metric);
  ++sample_;
  const unsigned long long start = clock_.sinceStart(metric.getData().timestamp);
  for (const pwr::DataElement& element : metric.getData().elements) {
    if (element.getDescriptor() == nullptr) {
      PW_LOG(kContinuousLog, told_.levelOf("no descriptor", metric.getId(), element.getEntity()),
             "WARNING: Unable to retrieve data descriptor\n");
      continue;
    }
    addElement(metric, state, element, start);
  }
}

void TraceModel::addElement(const pwr::Metric& metric, MetricState& state,
                            const pwr::DataElement& element, unsigned long long start) {
  value_.read(*element.getValue());
  if (value_.kind() == ElementValue::Kind::None) {
    PW_LOG(kContinuousLog,
           told_.levelOf("no value", metric.getId(), element.getEntity(), element.getDescriptor()),
           "WARNING: Unable to retrieve a data value of %s\n", metric.getName().c_str());
    return;
  }
  Series& series = state.series.find(element.getEntity(), element.getDescriptor(), [&] {
    return Series{.container = containerOf(metric, state, element.getEntity())};
  });
  TraceContainer& container = *series.container;
  // A rate's duration is in a unit of its own and cannot be placed on the time axis.
  const unsigned long long length =
      state.isRate ? element.getDuration() : clock_.length(element.getDuration());
  const TraceContainer::Times times{start, state.isRate ? start : start + length};
  if (value_.isState()) {
    container.showStates();
    const std::uint32_t label = value_.stateHandle() != nullptr
                                    ? container.label(value_.stateHandle())
                                    : container.label(value_.stateName());
    container.add(sample_, times, label, static_cast<double>(length));
    return;
  }
  // Not before a number needs it: the descriptor of states is none of them.
  if (!series.hasLabel) {
    series.label = container.label(element.getDescriptor()->getName());
    series.hasLabel = true;
  }
  container.add(sample_, times, series.label, value_.number());
}
