#include "tavrin/collect/ValueTable.h"

#include <algorithm>
#include <utility>

namespace tavrin {

std::size_t ValueTable::add(const pwr::EntityHandle* entity,
                            const pwr::DataDescriptor* descriptor) {
  const auto known = std::ranges::find_if(
      rows_, [&](const Row& row) { return row.entity == entity && row.descriptor == descriptor; });
  if (known != rows_.end()) return static_cast<std::size_t>(known - rows_.begin());
  rows_.push_back({entity, descriptor, {}, {}});
  return rows_.size() - 1;
}

std::vector<pwr::Metric::EntityDescCombo> ValueTable::combinations() const {
  std::vector<pwr::Metric::EntityDescCombo> combinations;
  for (const Row& row : rows_) combinations.push_back({row.entity, row.descriptor});
  return combinations;
}

void ValueTable::emit(const pwr::MetricDescription* metric, bool complete, const Interval& interval,
                      SampleBatch& batch) {
  IntervalPoint point(batch, metric, interval);
  for (Row& row : rows_) {
    if (complete && row.before) point.add(pwr::Data(*row.before), row.descriptor, row.entity);
    row.before = std::exchange(row.now, std::nullopt);
  }
}

}  // namespace tavrin
