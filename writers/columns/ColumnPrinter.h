#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "writers/columns/RecordBuffer.h"
#include "writers/common/GatheredOutput.h"

/// Prints the lines of one table, every cell right-aligned to its column. A first write that fails
/// is kept for `finish`; what follows is dropped.
class ColumnPrinter {
 public:
  /// `separator` stands between two cells, followed by a blank; `placeholder` in the cells that a
  /// row lacks. Both and `widths` (bytes) have to outlive the printer.
  ColumnPrinter(FILE* output, std::string_view separator, std::string_view placeholder,
                const std::vector<std::size_t>& widths);

  void printLine(std::string_view text);
  void printHeader(const std::vector<std::string>& names);
  /// Prints the next cell of the current row.
  void printCell(std::string_view text);
  /// How many bytes have to be readable from a row's first record on for `printRow`: more than
  /// there can be when the lines are too long for it.
  std::size_t rowRoom() const { return rowRoom_; }
  /// Prints the row whose records start at `records`, all of it at once. Returns how many bytes its
  /// records take, or 0 when it has to be printed cell by cell: because part of it is, or it is not
  /// one cell for each column, none of them wider than that.
  std::size_t printRow(const char* records);
  /// Fills the current row up and ends it.
  void endRow();

  bool hasFailed() const { return errnum_ != 0; }
  /// Writes out everything. Returns 0, or the errno value of the first failure.
  int finish();

 private:
  /// What is the same in all rows: `empty` points to the separator, except for the first column,
  /// and the blanks of an empty cell, `size` bytes in all.
  struct Column {
    std::size_t width;
    std::size_t size;
    const char* empty;
  };

  void printAnyCell(std::string_view text, bool separated);
  void write(std::string_view text);

  FILE* const output_;
  const std::string separator_;
  const std::string_view placeholder_;
  const std::vector<std::size_t>& widths_;
  std::string empty_;
  std::vector<Column> columns_;
  std::size_t lineSize_ = 1;  // with the line break
  std::size_t rowRoom_ =
      RecordBuffer::kLengthSize + RecordBuffer::kRowComplete.size() + GatheredOutput::kSlack;
  int errnum_ = 0;
  std::size_t column_ = 0;
  GatheredOutput gathered_;
};
