#pragma once

#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "hostcommon/OutputFile.h"

class ColumnStore;

/// Creates a file that will be `path`. False, logged, when that fails.
bool createOutput(pwr::OutputFile& file, const std::string& path);

/// The final text file of a writer that collects tables in column stores, and what it lacks when
/// stores cannot be made.
class TableFile {
 public:
  /// Creates the file that will be `path`. False, logged, when that fails, and when no temporary
  /// file can be made for its tables.
  bool open(const std::string& path);

  /// Makes a table that has a column store of its own, with `title` as the first argument. Null
  /// when the store cannot be had, which is told; nor is every table tried that comes after it,
  /// because of what each attempt logs.
  template <typename Table, typename... Arguments>
  std::unique_ptr<Table> makeTable(const std::string& title, const Arguments&... arguments) {
    if (refusedTables_ < nextAttempt_) {
      noteRefusedTable(title);
      return nullptr;
    }
    try {
      return std::make_unique<Table>(title, arguments...);
    } catch (const char*) {
      noteRefusal(errno);
      noteRefusedTable(title);
      return nullptr;
    }
  }
  /// Tells that values are lost because their table was refused.
  void noteLostValues(std::uint64_t count) { lostValues_ += count; }

  // These return 1 on a failure, which `close` reports.
  int print(std::string_view text) { return file_.write(text) ? 0 : 1; }
  int print(ColumnStore& table, bool leadingNewline);

  /// Completes the file. Returns 1, with the cause logged, when something is missing from it.
  int close();

 private:
  void noteRefusal(int errnum);
  void noteRefusedTable(const std::string& title);
  void reportLosses();

  pwr::OutputFile file_;
  std::uint64_t refusedTables_ = 0;
  std::uint64_t nextAttempt_ = 0;  // number of refused tables at which the next one is tried
  int refusal_ = 0;                // why the latest that was tried was refused
  std::uint64_t lostValues_ = 0;
  std::string firstRefused_;
};
