#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "hostcommon/summary/TableBuilder.h"

namespace tavrin {

/// The rows of a table of which only the largest are kept, by their first number, and the sums of
/// all others. Its memory does not depend on how many rows are added.
class TopRows {
 public:
  static constexpr std::size_t kMost = 20;

  struct Row {
    std::string name;
    std::vector<unsigned long long> sums;  ///< as many in each row
    std::vector<pwr::Data> rest;           ///< what cannot be added up; as many in each row
  };

  /// A row whose first number is 0 is one of the others.
  void add(Row row) {
    if (row.sums.front() == 0) return addToOthers(row);
    rows_.push_back(std::move(row));
    std::ranges::stable_sort(rows_, std::ranges::greater(),
                             [](const Row& one) { return one.sums.front(); });
    if (rows_.size() <= kMost) return;
    addToOthers(rows_.back());
    rows_.pop_back();
  }

  /// Adds the rows to the table, the largest first, then one for the others. `cellOf` makes the
  /// cell of a number from its place among the row's and the number.
  template <typename CellOf>
  void appendTo(pwr::TableBuilder& table, const CellOf& cellOf) const {
    for (const Row& row : rows_) append(table, row, cellOf);
    if (othersCount_ == 0) return;
    Row others = others_;
    others.name = "others (" + std::to_string(othersCount_) + ")";
    append(table, others, cellOf);
  }

 private:
  void addToOthers(const Row& row) {
    others_.sums.resize(row.sums.size());
    for (std::size_t i = 0; i < row.sums.size(); ++i) others_.sums[i] += row.sums[i];
    others_.rest.assign(row.rest.size(), pwr::Data("n/a"));
    ++othersCount_;
  }

  template <typename CellOf>
  static void append(pwr::TableBuilder& table, const Row& row, const CellOf& cellOf) {
    pwr::TableBuilder::Row cells{pwr::Data(row.name)};
    for (std::size_t i = 0; i < row.sums.size(); ++i) cells.push_back(cellOf(i, row.sums[i]));
    cells.insert(cells.end(), row.rest.begin(), row.rest.end());
    table.row(std::move(cells));
  }

  std::vector<Row> rows_;
  Row others_;
  std::size_t othersCount_ = 0;
};

}  // namespace tavrin
