#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "writers/columns/ColumnStore.h"
#include "writers/host/DataHandle.h"

/// The number of the next row, from 1: as text, which is all that it is needed for.
class RowNumber {
 public:
  RowNumber() {
    digits_.fill('0');
    increment();
  }
  RowNumber(const RowNumber&) = delete;
  RowNumber& operator=(const RowNumber&) = delete;

  void increment() {
    char* digit = digits_.data() + kMostDigits - 1;
    while (*digit == '9') *digit-- = '0';
    ++*digit;
    if (digit < first_) first_ = digit;
  }
  std::string_view text() const {
    return {first_, static_cast<std::size_t>(digits_.data() + kMostDigits - first_)};
  }

 private:
  static constexpr std::size_t kMostDigits = 20;

  std::array<char, kMostDigits> digits_;  // right-aligned, with zeros in front
  char* first_ = digits_.data() + kMostDigits;
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
  bool beginRow(const CellText& time) {
    if (rowIsOpen_) return false;
    rowIsOpen_ = true;
    setCell(numberColumn_, nextNumber_.text());
    // Long before it is read: a processor waits when it reads what it has just written in pieces.
    nextNumber_.increment();
    setCell(timeColumn_, time);
    return true;
  }
  /// Sets the cell of the duration, in ticks and as text.
  void setDuration(std::uint64_t ticks, const CellText& text) {
    durationOfRow_ = ticks;
    setCell(durationColumn_, text);
  }
  /// The duration in the current row. To set it again costs the store its shortest way.
  std::uint64_t durationOfRow() const { return durationOfRow_; }
  void setConstantCells() {
    for (const auto& [column, text] : constantCells_) setCell(column, std::string_view(text));
  }
  template <typename Text>
  void setCell(ColumnStore::Column column, const Text& text) {
    store_.setColumnData(text, column);
  }
  void completeRow() {
    store_.completeRow();
    rowIsOpen_ = false;
  }

  ColumnStore& getStore() { return store_; }

 private:
  ColumnStore store_;
  ColumnStore::Column numberColumn_;
  ColumnStore::Column timeColumn_;
  ColumnStore::Column durationColumn_ = ColumnStore::kNoColumn;
  std::unordered_map<std::uint64_t, ColumnStore::Column> columnById_;
  std::vector<std::pair<ColumnStore::Column, std::string>> constantCells_;
  RowNumber nextNumber_;
  bool rowIsOpen_ = false;
  std::uint64_t durationOfRow_ = 0;
};
