#include "tavrin/collect/StateTable.h"

#include <algorithm>
#include <utility>

#include "hostcommon/Descriptions.h"

namespace tavrin {

std::size_t StateTable::add(const pwr::EntityHandle* entity) {
  const auto [place, isNew] = places_.try_emplace(entity, rows_.size());
  // No state is told, and the first one, known or not, is to be.
  if (isNew) rows_.push_back({entity, states_.size(), states_.size(), unknown()});
  return place->second;
}

pwr::MetricDescription StateTable::describe(const std::string& level) {
  descriptor_ = pwr::DataDescriptor::create(pwr::DataDescriptorBuilder("State", ""));
  pwr::MetricDescription metric{
      .type = pwr::Metric::MetricType::TracedValueTransition,
      .legacyType = pwr::RealTableClass::Trace,
      .quantity = pwr::createQuantity({.type = pwr::QuantityType::State, .name = "State"}),
      .entityGroup = std::make_shared<const pwr::Field>(level),
      .descriptorGroup = std::make_shared<const pwr::Field>("Descriptor"),
      .valueGroup = std::make_shared<const pwr::Field>("State")};
  for (const Row& row : rows_) metric.combinations.push_back({row.entity, descriptor_});
  for (const std::string& state : states_) metric.finiteSet.emplace_back(state);
  return metric;
}

std::size_t StateTable::placeOf(std::string_view state) const {
  const auto place = std::ranges::find(states_, state);
  return std::min(static_cast<std::size_t>(place - states_.begin()), unknown());
}

void StateTable::emit(const pwr::MetricDescription* metric, bool complete, const Interval& interval,
                      SampleBatch& batch) {
  pwr::Metric::DataPoint* point = nullptr;
  for (Row& row : rows_) {
    if (complete && row.before != row.told && row.before < states_.size()) {
      if (point == nullptr) point = &batch.add(metric, interval.start());
      point->elements.emplace_back(pwr::Data(states_[row.before]), descriptor_, row.entity, 0);
      row.told = row.before;
    }
    row.before = std::exchange(row.now, unknown());
  }
}

}  // namespace tavrin
