#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

class ReportOutput;

/// A directory for temporary files that no other process can guess, enter or share. It comes into
/// being when it is first needed, so a run without temporary files leaves no trace even if it is
/// killed.
class PrivateDirectory {
 public:
  PrivateDirectory() = default;
  ~PrivateDirectory() { remove(); }
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;

  /// Where the directory will be created ("" for the current directory). Call before `create`.
  void setParent(std::string parent) { parent_ = std::move(parent); }

  /// The path of the directory, which is created by the first call; "" when it cannot be created.
  /// That is logged once and not tried again.
  const std::string& create();

  /// Removes the directory, which must be empty by now; the destructor does the same.
  void remove();

 private:
  std::string parent_;
  std::string path_;
  bool failed_ = false;
};

/// Keeps the text of one table in a temporary file, cell by cell, until the report is put together.
/// Only the width of each column and the latest cells, up to `kPending` bytes, stay in memory.
///
/// The file is open only while it is written to: there are thousands of tables, and each open file
/// would count against the limit of the process and lengthen the list that the C library searches
/// whenever it closes one.
class TempTableOutput {
 public:
  static constexpr std::size_t kPending = 4096;

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

  /// Writes what is still in memory. Call before `mergeInto`.
  void flush();
  /// The errno value of the first failure to append or flush; 0 while there was none.
  int getWriteError() const { return writeError_; }
  const std::string& getPath() const { return path_; }

  /// Writes everything to `report`. Returns 1 when cells could not be read back (logged).
  int mergeInto(ReportOutput& report, std::string_view separator) const;

 private:
  TempTableOutput(std::string path, Kind kind, std::size_t cellsPerRow);

  const std::string path_;
  const Kind kind_;
  std::string title_;
  bool echo_ = false;
  int writeError_ = 0;
  std::string pending_;              // records that are not in the file yet
  std::vector<std::size_t> widths_;  // bytes, for each position of a row
  std::size_t position_ = 0;
};
