#pragma once

#include <sqlite3.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "exporters/sqlite/OpenFileVfs.h"
#include "hostcommon/OutputFile.h"
#include "writers/common/WriterLog.h"
#include "writers/host/Data.h"

namespace sqlite {

/// The lines of this writer, on which the verbosity alone decides.
inline const WriterLog kLog("");

/// A new database, filled without a journal: the file is private until it is complete, so there is
/// nothing to go back to. Memory is bounded by its cache.
///
/// A failure is told to the file, the first one counts, and nothing is written from then on. Who
/// fills the database need not look at each result.
class Database {
 public:
  /// `file` is not owned, is open and stays so until the database is closed.
  explicit Database(pwr::OutputFile& file) : file_(file), vfs_(file) {}
  /// Closes the database; what was not committed makes no sense then.
  ~Database() { sqlite3_close_v2(handle_); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  /// Opens the database and begins a transaction. Call once, first.
  bool open();
  /// Writes all that waits in memory, and begins the next transaction.
  bool keep() { return run("COMMIT; BEGIN"); }
  /// Runs one or more statements without results.
  bool run(const char* sql);
  /// Commits and closes. Every `Statement` must be gone.
  bool close();

  /// Whether nothing has failed.
  bool isSound() const { return isSound_; }
  /// Notes SQLite's result; false, once and for all, when it is a failure.
  bool check(int result);
  sqlite3* handle() const { return handle_; }

 private:
  pwr::OutputFile& file_;
  OpenFileVfs vfs_;
  sqlite3* handle_ = nullptr;
  bool isSound_ = true;
};

/// A statement that inserts a row, prepared once. NaN and nothing are NULL, what is beyond 64 bits
/// with a sign is its decimal text, and texts are valid UTF-8.
class Insertion {
 public:
  /// `database` outlives the statement.
  Insertion(Database& database, const char* sql);
  ~Insertion() { sqlite3_finalize(handle_); }
  Insertion(const Insertion&) = delete;
  Insertion& operator=(const Insertion&) = delete;

  /// Inserts a row of these cells: whole numbers, reals, texts, `pwr::Data`, optional ones, or
  /// nullptr.
  template <typename... Cells>
  void add(const Cells&... cells) {
    if (!database_.isSound()) return;
    int place = 0;
    (bindCell(++place, cells), ...);
    insert();
    texts_.clear();
  }

  // Cell by cell, for rows that come by the million. Places count from 1, and cells stay from row
  // to row. Only while the database is sound.
  void bind(int place, std::nullptr_t) { sqlite3_bind_null(handle_, place); }
  void bind(int place, std::int64_t number) { sqlite3_bind_int64(handle_, place, number); }
  void bind(int place, double number) { sqlite3_bind_double(handle_, place, number); }
  /// `text` is valid UTF-8 and stays until the row is inserted.
  void bind(int place, std::string_view text) {
    database_.check(
        sqlite3_bind_text64(handle_, place, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8));
  }
  /// As texts are, but a BLOB.
  void bindBytes(int place, std::string_view bytes) {
    database_.check(sqlite3_bind_blob64(handle_, place, bytes.data(), bytes.size(), SQLITE_STATIC));
  }
  void insert();

 private:
  template <std::integral Number>
  void bindCell(int place, Number number) {
    if (std::in_range<std::int64_t>(number)) return bind(place, static_cast<std::int64_t>(number));
    bindCell(place, std::to_string(number));
  }
  void bindCell(int place, std::nullptr_t) { bind(place, nullptr); }
  void bindCell(int place, double number) { bind(place, number); }
  void bindCell(int place, const char* text) { bind(place, std::string_view(text)); }
  void bindCell(int place, const std::string& text);
  void bindCell(int place, const pwr::Data& value);
  template <typename Cell>
  void bindCell(int place, const std::optional<Cell>& cell) {
    cell.has_value() ? bindCell(place, *cell) : bind(place, nullptr);
  }

  Database& database_;
  sqlite3_stmt* handle_ = nullptr;
  std::deque<std::string> texts_;  // of the row
};

/// The cell of a text that is "" where there is none.
inline std::optional<std::string> textOrNull(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional(text);
}

}  // namespace sqlite
