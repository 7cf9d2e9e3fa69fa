#include "exporters/sqlite/Database.h"

#include <cerrno>

#include "hostcommon/DataVisit.h"
#include "hostcommon/Utf8Text.h"

namespace sqlite {

namespace {

// 8 MiB are enough for a page of each of 2000 series.
constexpr const char* kBegin =
    "PRAGMA page_size = 4096;"
    "PRAGMA cache_size = -8192;"
    "PRAGMA journal_mode = OFF;"
    "PRAGMA synchronous = OFF;"
    "PRAGMA locking_mode = EXCLUSIVE;"
    "PRAGMA temp_store = MEMORY;"
    "PRAGMA trusted_schema = OFF;"
    "BEGIN";

}  // namespace

bool Database::open() {
  return check(vfs_.open(&handle_)) && run(kBegin);
}

bool Database::run(const char* sql) {
  return isSound_ && check(sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr));
}

bool Database::close() {
  run("COMMIT");
  const int result = sqlite3_close(handle_);
  if (result == SQLITE_OK) handle_ = nullptr;
  return check(result);
}

bool Database::check(int result) {
  if (result == SQLITE_OK || result == SQLITE_DONE || result == SQLITE_ROW || !isSound_) {
    return isSound_;
  }
  isSound_ = false;
  if (!file_.isComplete()) return false;  // the cause is known
  const int cause = (result & 0xFF) == SQLITE_NOMEM ? ENOMEM : EIO;
  PW_LOG(kLog, PW_LOG_ERROR, "ERROR: SQLite cannot fill %s: %s.\n", file_.getPath().c_str(),
         handle_ == nullptr ? sqlite3_errstr(result) : sqlite3_errmsg(handle_));
  file_.noteFailure(cause);
  return false;
}

Insertion::Insertion(Database& database, const char* sql) : database_(database) {
  if (!database.isSound()) return;
  database.check(
      sqlite3_prepare_v3(database.handle(), sql, -1, SQLITE_PREPARE_PERSISTENT, &handle_, nullptr));
}

void Insertion::insert() {
  database_.check(sqlite3_step(handle_));
  sqlite3_reset(handle_);
}

void Insertion::bindCell(int place, const std::string& text) {
  bind(place, std::string_view(texts_.emplace_back(pwr::validUtf8(text))));
}

void Insertion::bindCell(int place, const pwr::Data& value) {
  pwr::visitData(value, [&](const auto& one) { bindCell(place, one); });
}

}  // namespace sqlite
