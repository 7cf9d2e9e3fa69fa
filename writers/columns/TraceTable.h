#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "writers/columns/ColumnStore.h"
#include "writers/host/DataHandle.h"

/// Counts rows in decimal: as text, which is all that a number of a row is needed for.
class RowNumber {
 public:
  RowNumber() = default;
  RowNumber(const RowNumber&) = delete;
  RowNumber& operator=(const RowNumber&) = delete;

  void increment() {
    char* digit = digits_.data() + digits_.size() - 1;
    while (*digit == '9') *digit-- = '0';
    *digit = static_cast<char>(*digit == 0 ? '1' : *digit + 1);
    first_ = std::min(first_, digit);
  }
  std::string_view text() const {
    return {first_, static_cast<std::size_t>(digits_.data() + digits_.size() - first_)};
  }

 private:
  std::array<char, 20> digits_{};  // right-aligned, 0 in front of the first one
  char* first_ = digits_.data() + digits_.size();
};

/// One table of the data trace file: its rows, and which column is whose. A column that could not
/// be added is ColumnStore::kNoColumn, and cells for it are dropped.
class TraceTable {
 public:
  /// Throws what ColumnStore throws. Adds the columns that every table begins with: "Sample #" and
  /// `timeColumn`.
  TraceTable(const std::string& title, const std::string& placeholder,
             const std::string& timeColumn);

  ColumnStore::Column addColumn(const std::string& name) { return store_.addColumn(name); }
  void addDurationColumn();
  /// Adds a column under the id of an attribute or descriptor (0: values without descriptor), and
  /// `findColumn` finds it. An id that has a column already keeps it.
  ColumnStore::Column addColumn(std::uint64_t id, const std::string& name);
  /// kNoColumn when there is no column under the id.
  ColumnStore::Column findColumn(std::uint64_t id) const;
  /// Gives each of the attributes a column, for whose cells `setConstantCells` has their values.
  void addConstantCells(const pwr::AttributeValueManager& attributes);

  /// Begins a row with its number and its time, unless it is begun. True when it did.
  bool beginRow(std::string_view time);
  /// Sets the cell of the duration, unless it shows the same number of ticks already: a cell that
  /// is set twice costs the store its shortest way.
  void setDuration(std::uint64_t ticks, std::string_view text);
  void setConstantCells();
  void setCell(ColumnStore::Column column, std::string_view text) {
    if (column != ColumnStore::kNoColumn) store_.setColumnData(text, column);
  }
  void completeRow();

  ColumnStore& getStore() { return store_; }

 private:
  ColumnStore store_;
  ColumnStore::Column numberColumn_;
  ColumnStore::Column timeColumn_;
  ColumnStore::Column durationColumn_ = ColumnStore::kNoColumn;
  std::unordered_map<std::uint64_t, ColumnStore::Column> columnById_;
  std::vector<std::pair<ColumnStore::Column, std::string>> constantCells_;
  RowNumber rows_;
  bool rowIsOpen_ = false;
  std::optional<std::uint64_t> durationOfRow_;
};
