#include "tavrin/collect/CounterTable.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "hostcommon/Descriptions.h"
#include "tavrin/collect/Counting.h"

namespace tavrin {

const pwr::EntityHandle* CounterTable::note(std::string_view name,
                                            std::span<const unsigned long long> counts) {
  if (name.empty()) return nullptr;
  auto place = rows_.find(name);
  if (place == rows_.end()) place = rows_.try_emplace(std::string(name)).first;
  Row& row = place->second;
  row.now.assign(counts.begin(), counts.end());
  row.now.resize(counters_);
  row.before.resize(counters_);
  row.isNoted = true;
  const bool hasCounted = std::ranges::any_of(row.now, [](auto count) { return count > 0; });
  if (row.entity != nullptr || !hasCounted || entities_ == kMost) return row.entity;
  row.entity = pwr::createEntity({.name = place->first, .level = level_});
  ++entities_;
  return row.entity;
}

pwr::MetricDescription CounterTable::describe(const CounterMetric& metric) {
  Part part{metric.counters, {}};
  for (const CounterMetric::Counter& counter : part.counters) {
    part.descriptors.push_back(
        pwr::DataDescriptor::create(pwr::DataDescriptorBuilder(counter.name, counter.description)));
  }
  pwr::MetricDescription description{
      .name = metric.name,
      .type = pwr::Metric::MetricType::SampledDelta,
      .legacyType = pwr::RealTableClass::Counter,
      .quantity = metric.quantity,
      .entityGroup = std::make_shared<const pwr::Field>(level_),
      .descriptorGroup = std::make_shared<const pwr::Field>("Counter")};
  for (const auto& [name, row] : rows_) {
    if (row.entity == nullptr) continue;
    for (const auto* descriptor : part.descriptors) {
      description.combinations.push_back({row.entity, descriptor});
    }
  }
  parts_.push_back(std::move(part));
  return description;
}

bool CounterTable::hasInterval(const Row& row) {
  return row.entity != nullptr && row.isNoted && row.isKnown &&
         std::ranges::equal(row.now, row.before, std::ranges::greater_equal());
}

void CounterTable::emit(std::size_t place, const pwr::MetricDescription* metric,
                        const Interval& interval, SampleBatch& batch) const {
  const auto& [counters, descriptors] = parts_[place];
  IntervalPoint point(batch, metric, interval);
  for (const auto& [name, row] : rows_) {
    if (!hasInterval(row)) continue;
    for (std::size_t i = 0; i < counters.size(); ++i) {
      const std::size_t index = counters[i].index;
      const auto growth = growthOf(row.before[index], row.now[index], counters[i].unit);
      if (growth) point.add(pwr::Data(*growth), descriptors[i], row.entity);
    }
  }
}

void CounterTable::endPass() {
  for (auto place = rows_.begin(); place != rows_.end();) {
    Row& row = place->second;
    row.isKnown = std::exchange(row.isNoted, false);
    row.before.swap(row.now);
    // Names without end pass by where interfaces are made for every container.
    place = row.isKnown || row.entity != nullptr ? std::next(place) : rows_.erase(place);
  }
}

}  // namespace tavrin
