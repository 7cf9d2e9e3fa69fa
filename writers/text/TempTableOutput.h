#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class PrivateDirectory;
class ReportOutput;

/// Keeps the text of one table in a temporary file, cell by cell, until the report is put together.
/// Only the width of each column stays in memory.
class TempTableOutput {
 public:
  /// A table has a title line and aligned columns; a text has neither, and one cell in each row.
  enum class Kind { Table, Text };

  /// Creates the temporary file. Null when that fails; the cause is logged.
  static std::unique_ptr<TempTableOutput> create(PrivateDirectory& directory, Kind kind,
                                                 std::size_t cellsPerRow);
  /// Deletes the temporary file.
  ~TempTableOutput();
  TempTableOutput(const TempTableOutput&) = delete;
  TempTableOutput& operator=(const TempTableOutput&) = delete;

  void setTitle(std::string title) { title_ = std::move(title); }
  const std::string& getTitle() const { return title_; }
  /// Has the merge also write to the process's standard output.
  void echoOnConsole() { echo_ = true; }
  std::size_t getCellsPerRow() const { return widths_.size(); }

  /// Appends the next cell of the current row as it is. A failure is kept for `getWriteError`, and
  /// later cells are dropped then.
  void append(std::string_view cell);
  /// Appends a text as the next cell, quoted when a CSV reader would otherwise misread it.
  void appendText(std::string_view text);

  /// Closes the file for writing. Call before `mergeInto`, and append nothing afterwards.
  void endWriting();
  /// The errno value of the first failure to append or close; 0 while there was none.
  int getWriteError() const { return writeError_; }
  const std::string& getPath() const { return path_; }

  /// Writes everything to `report`. Returns 1 when cells could not be read back (logged).
  int mergeInto(ReportOutput& report, std::string_view separator) const;

 private:
  TempTableOutput(std::string path, FILE* stream, Kind kind, std::size_t cellsPerRow);

  const std::string path_;
  FILE* stream_;
  const Kind kind_;
  std::string title_;
  bool echo_ = false;
  int writeError_ = 0;
  std::vector<std::size_t> widths_;  // bytes, for each position of a row
  std::size_t position_ = 0;
};
