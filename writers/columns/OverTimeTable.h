#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "hostcommon/OutputFile.h"
#include "writers/columns/ZtExtensibleBackingStore.h"

/// The rows of the over-time table, until the last of its columns is known. A row is staged as the
/// text that it will be in the file but for the commas of columns that come after its own. In
/// memory are the current row and what the store keeps there.
class OverTimeTable {
 public:
  /// Throws what the backing store throws.
  OverTimeTable() = default;

  /// Ends the current row and begins one whose first cell is `time`.
  void beginRow(std::string_view time);
  /// Sets a cell of the current row, in place of an earlier one; columns are counted from 1, behind
  /// that of the time. `text` is a cell of a CSV file. A row of more than `kLargestRow` bytes ends
  /// there, and its further cells are in another one of the same time.
  void setCell(std::uint32_t column, std::string_view text);

  /// Ends the last row and prints all of them, each with so many columns behind that of the time.
  /// Returns 1, logged, when rows are missing; what the file cannot take is its own matter.
  int print(pwr::OutputFile& file, std::size_t columns);

 private:
  static constexpr std::size_t kLargestRow = std::size_t{16} * 1024 * 1024;

  struct Cell {
    std::uint32_t column;
    std::size_t start;
    std::size_t size;
  };
  /// What precedes the text of a row in the store.
  struct RowHead {
    std::uint32_t size;
    std::uint32_t lastColumn;
  };

  void endRow();
  void sortCells();
  void stage();
  bool unstage(std::string& line, std::size_t columns);

  // The current row, if it has cells: their text in the order in which they were set.
  std::string text_;
  std::vector<Cell> cells_;
  std::string record_;  // kept for its storage

  pwr::ZtExtensibleBackingStore store_;
  std::uint64_t staged_ = 0;  // bytes of whole rows in the store
  std::uint64_t lostRows_ = 0;
  std::uint64_t nextAttempt_ = 0;  // number of lost rows at which the store is asked again
};
