#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "hostcommon/summary/MetricTotals.h"

namespace pwr {

/// The series of a metric in rows and columns, both in the order in which they first appear: a row
/// per entity and a column per descriptor; for a metric with states a row per entity and descriptor
/// and a column per state, those of its finite set first, then the others by number or name.
class SeriesGrid {
 public:
  using Row = std::pair<const EntityHandle*, const DataDescriptor*>;
  using Column = std::pair<const DataDescriptor*, std::string>;

  explicit SeriesGrid(const MetricTotals& totals);

  const std::vector<Row>& rows() const { return rows_.inOrder; }
  const std::vector<Column>& columns() const { return columns_.inOrder; }
  /// Null where the row has no such series.
  const SeriesTotals* at(std::size_t row, std::size_t column) const {
    const auto found = cells_.find({row, column});
    return found == cells_.end() ? nullptr : found->second;
  }

 private:
  template <typename Key>
  struct Index {
    std::vector<Key> inOrder;
    std::map<Key, std::size_t> places;

    std::size_t operator()(const Key& key) {
      const auto [place, isNew] = places.try_emplace(key, inOrder.size());
      if (isNew) inOrder.push_back(key);
      return place->second;
    }
  };

  void addStates(const MetricTotals& totals);

  Index<Row> rows_;
  Index<Column> columns_;
  std::map<std::pair<std::size_t, std::size_t>, const SeriesTotals*> cells_;
};

}  // namespace pwr
