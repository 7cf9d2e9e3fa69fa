#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

class ColumnStore;

/// The final text file of a writer that collects tables in column stores. Remembers whatever keeps
/// the file from being complete, so that `close` can tell.
class TableFile {
 public:
  /// `extension` is appended to base names.
  explicit TableFile(std::string extension) : extension_(std::move(extension)) {}
  /// Closes the file without completing it, if `close` was not called.
  ~TableFile();
  TableFile(const TableFile&) = delete;
  TableFile& operator=(const TableFile&) = delete;

  /// Creates or empties baseName + extension. Returns 1 when that fails (logged).
  int open(const std::string& baseName);
  bool isOpen() const { return stream_ != nullptr; }

  /// To be called while the file is open. Return 1 on a failure, which `close` reports.
  int print(const std::string& text);
  int print(ColumnStore& table, bool leadingNewline);

  /// Tells that a sample is lost because the column store of the table `title` could not be made.
  void noteLostSample(const std::string& title);

  /// Completes the file. Returns 1, with the cause logged, when no file is open or something is
  /// missing from it.
  int close();

 private:
  void reportLosses();

  const std::string extension_;
  std::string path_;
  FILE* stream_ = nullptr;
  bool complete_ = true;
  int errnum_ = 0;  ///< of the last text that could not be written
  std::uint64_t lostSamples_ = 0;
  std::string firstLostTitle_;
};
