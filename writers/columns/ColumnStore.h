#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "writers/columns/CellText.h"
#include "writers/columns/RecordBuffer.h"
#include "writers/columns/ZtExtensibleBackingStore.h"
#include "writers/common/TextLog.h"

class ColumnPrinter;

/// One table whose column widths are known only when its last row is. Keeps the current row in
/// memory and the finished ones in a backing store, and prints the table once, with every cell
/// right-aligned to its column.
///
/// Call order: `addColumn` for every column, then `setColumnData` and `completeRow` row by row,
/// then `writeTo`. Rows completed before a column was added read as the placeholder there.
class ColumnStore {
 public:
  /// Index of a column: 16 bits, and a value beyond them for none.
  using Column = std::uint32_t;
  static constexpr Column kMostColumns = 0x10000;
  static constexpr Column kNoColumn = kMostColumns;
  /// In bytes: together with its length, what can be stored at once.
  static constexpr std::size_t kLongestValue = 0xFFFFFFFE - RecordBuffer::kLengthSize;

  /// `placeholder` stands for the cells that get no value. `logName` is what log lines call the
  /// table, if not by its title. Throws what the backing store throws, a C string, with errno
  /// telling why, when the temporary file cannot be created.
  ColumnStore(const std::string& title, const std::string& placeholder,
              const std::string& logName = {});

  /// Returns the index of the new column, or `kNoColumn` (the first time with a warning) when the
  /// table has `kMostColumns` already.
  Column addColumn(const std::string& name);

  /// Sets a cell of the current row, in place of an earlier value. Returns 0, or 1 (logged) when
  /// there is no such column or the value is too long; `kNoColumn` is refused without a line.
  /// Cheapest for cells set in column order.
  int setColumnData(std::string_view value, Column column) {
    return value.size() <= kLongestValue ? setCell(value, column) : refuseLength(value.size());
  }
  int setColumnData(const CellText& value, Column column) {
    return value.isNumber() ? setCell(value.number(), column) : setColumnData(value.text(), column);
  }

  /// Sets the cells of the first columns at once. They have to be there, no cell of the row may be
  /// set yet, and numbers have to be covered.
  template <typename... Texts>
  void beginRow(const Texts&... texts) {
    for (const std::size_t length : rows_.append(texts...)) widen(nextColumn_++, length);
  }

  /// As `setColumnData`, for a number that `RecordBuffer::append` takes.
  template <typename Number>
  int setColumnNumber(const Number& number, Column column) {
    return setCell(number, column);
  }

  /// Stores the current row and begins a new one.
  void completeRow() {
    if (nextColumn_ != columnCount_) fillRow();
    rows_.append(RecordBuffer::kRowComplete);
    if (kTextLog.shows(PW_LOG_INFO)) logRow();
    ++finishedRows_;
    if (rows_.size() >= kGatheredBytes) storeRows();
    rowStart_ = rows_.size();
    nextColumn_ = 0;
  }

  /// Prints the table to an open stream. Returns 1, with a warning, when `output` is null, memory
  /// is short, rows were lost because the temporary file could not be written or read back, or the
  /// output could not be written completely; the stream's own buffer is flushed to know that.
  int writeTo(FILE* output, const std::string& separator, bool leadingNewline);

 private:
  struct Chunk;

  // How many bytes of finished rows go to the store at once.
  static constexpr std::size_t kGatheredBytes = 1024;

  template <typename Text>
  int setCell(const Text& text, Column column) {
    if (column >= columnCount_) return refuseColumn(column);
    if (column == nextColumn_) {
      ++nextColumn_;
    } else {
      noteOutOfOrder(column);
    }
    widen(column, rows_.append(text)[0]);
    return 0;
  }
  void widen(Column column, std::size_t length) {
    if (length > columnWidths_[column]) columnWidths_[column] = length;
  }
  int refuseColumn(Column column) const;
  static int refuseLength(std::size_t length);
  void noteOutOfOrder(Column column);
  void fillRow();
  void assembleRow();
  void logRow() const;
  void storeRows();
  bool storeUnstored();
  bool storeBytes(std::string_view bytes);
  bool printRows(ColumnPrinter& printer);
  std::string_view readRecords(Chunk& chunk);
  static std::size_t printRecords(ColumnPrinter& printer, std::string_view records);
  bool prepareRest(Chunk& chunk, std::string_view rest, std::size_t count);
  void rewind(std::size_t distance);
  bool reportMissingRows(bool isReadable) const;

  pwr::ZtExtensibleBackingStore store_;
  const std::string title_;
  const std::string placeholder_;
  const std::string logName_;
  Column columnCount_ = 0;  // that of the names, which every cell would have to compute
  std::vector<std::string> columnNames_;
  std::vector<std::size_t> columnWidths_;  // bytes
  bool refusedColumn_ = false;

  // Finished rows, until there are enough of them for the store, and from `rowStart_` on the
  // current one: records in the order in which they were set. A row set in column order, as nearly
  // all are, is stored as it is.
  RecordBuffer rows_;
  std::size_t rowStart_ = 0;
  std::uint64_t finishedRows_ = 0;
  // The first column without a cell while the row is in column order, or that it is not. For such
  // a row alone it is known where the latest text of each column starts, 0 for none.
  static constexpr Column kOutOfOrder = ~Column{0};
  Column nextColumn_ = 0;
  std::vector<std::size_t> cells_;
  RecordBuffer assembled_;

  // What is left of rows that the store took in part, and how many rows came after them.
  std::string unstored_;
  std::uint64_t lostRows_ = 0;
  std::uint64_t nextAttempt_ = 0;  // number of lost rows at which the store is asked again
};
