#include "tavrin/collect/TimeTable.h"

#include <algorithm>
#include <utility>

#include "tavrin/collect/Counting.h"

namespace tavrin {

std::size_t TimeTable::add(const pwr::EntityHandle* entity, const Descriptors& states, bool isNew) {
  const auto [place, isAdded] = places_.try_emplace(entity, rows_.size());
  if (isAdded) {
    const std::vector<unsigned long long> none(states.size());
    rows_.push_back({entity, states, ResidencyCarry(states.size()), none, none, none, isNew});
  }
  return place->second;
}

pwr::MetricDescription TimeTable::describe(const std::string& level) const {
  pwr::MetricDescription metric{.type = pwr::Metric::MetricType::SampledResidency,
                                .legacyType = pwr::RealTableClass::Residency,
                                .quantity = pwr::Quantity::time(),
                                .entityGroup = std::make_shared<const pwr::Field>(level),
                                .descriptorGroup = std::make_shared<const pwr::Field>("State")};
  for (const Row& row : rows_) {
    for (const auto* state : row.states) metric.combinations.push_back({row.entity, state});
  }
  return metric;
}

void TimeTable::note(std::size_t row, std::span<const unsigned long long> counts) {
  std::vector<unsigned long long>& now = rows_[row].now;
  // What has other states than at first is not the same thing.
  if (counts.size() != now.size()) return;
  std::ranges::copy(counts, now.begin());
  rows_[row].isNoted = true;
}

/// Sets the ticks of the interval. Returns false when a time has run backwards.
bool TimeTable::grow(Row& row) const {
  for (std::size_t i = 0; i < row.now.size(); ++i) {
    const auto growth = growthOf(row.before[i], row.now[i], unit_);
    if (!growth) return false;
    row.ticks[i] = *growth;
  }
  return true;
}

void TimeTable::emit(const pwr::MetricDescription* metric, bool complete, const Interval& interval,
                     SampleBatch& batch) {
  IntervalPoint point(batch, metric, interval);
  for (Row& row : rows_) {
    const bool isNoted = std::exchange(row.isNoted, false);
    const bool wasKnown = std::exchange(row.isKnown, isNoted);
    if (complete && wasKnown && isNoted && grow(row)) {
      row.carry.attribute(interval.length(), row.ticks);
      for (std::size_t i = 0; i < row.ticks.size(); ++i) {
        point.add(pwr::Data(row.ticks[i]), row.states[i], row.entity);
      }
    } else {
      row.carry.restart();
    }
    row.before.swap(row.now);
  }
}

void TimeTable::remainder(const pwr::MetricDescription* metric, SampleBatch& batch) const {
  const Interval none;
  IntervalPoint point(batch, metric, none);
  for (const Row& row : rows_) {
    const std::vector<unsigned long long> ticks = row.carry.remainder();
    for (std::size_t i = 0; i < ticks.size(); ++i) {
      if (ticks[i] != 0) point.add(pwr::Data(ticks[i]), row.states[i], row.entity);
    }
  }
}

}  // namespace tavrin
