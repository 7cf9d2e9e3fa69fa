#pragma once

#include <cassert>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "writers/columns/ColumnStore.h"
#include "writers/columns/RowNumber.h"
#include "writers/host/DataHandle.h"

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

  /// Begins a row with its number and its time. There must be none yet.
  void beginRow(const CellText& time) {
    store_.setColumnNumber(nextNumber_, numberColumn_);
    setCell(timeColumn_, time);
    noteBegun();
  }
  /// Begins a row of a table whose third column is the duration, which is `ticks` long. There must
  /// be none yet.
  void beginRow(const CellText& time, std::uint64_t ticks, const CellText& duration) {
    assert(numberColumn_ == 0 && timeColumn_ == 1 && durationColumn_ == 2);
    if (time.isNumber() && duration.isNumber()) {
      store_.beginRow(nextNumber_, time.number(), duration.number());
      durationOfRow_ = ticks;
      noteBegun();
    } else {
      beginRow(time);
      setDuration(ticks, duration);
    }
  }
  bool isRowBegun() const { return isRowBegun_; }
  void setDuration(std::uint64_t ticks, const CellText& text) {
    durationOfRow_ = ticks;
    setCell(durationColumn_, text);
  }
  /// The ticks of the duration in the current row. To set it again costs the store its shortest
  /// way.
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
    isRowBegun_ = false;
  }

  ColumnStore& getStore() { return store_; }

 private:
  void noteBegun() {
    // Long before it is read: a processor waits when it reads what it has just written in pieces.
    nextNumber_.increment();
    isRowBegun_ = true;
  }

  ColumnStore store_;
  ColumnStore::Column numberColumn_;
  ColumnStore::Column timeColumn_;
  ColumnStore::Column durationColumn_ = ColumnStore::kNoColumn;
  std::unordered_map<std::uint64_t, ColumnStore::Column> columnById_;
  std::vector<std::pair<ColumnStore::Column, std::string>> constantCells_;
  RowNumber nextNumber_;
  bool isRowBegun_ = false;
  std::uint64_t durationOfRow_ = 0;
};
