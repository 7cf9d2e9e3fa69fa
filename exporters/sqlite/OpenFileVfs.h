#pragma once

#include <sqlite3.h>

#include "hostcommon/OutputFile.h"

namespace sqlite {

/// Lets SQLite keep a database in a file that is open already, under whichever name it has: it is
/// neither looked for nor opened again, however long its path is, and locked by nobody. What cannot
/// be written is told to the file, with its cause. Temporary files and journals there are none.
class OpenFileVfs {
 public:
  /// `file` is not owned and stays open as long as the database is.
  explicit OpenFileVfs(pwr::OutputFile& file);
  OpenFileVfs(const OpenFileVfs&) = delete;
  OpenFileVfs& operator=(const OpenFileVfs&) = delete;

  /// Opens the database that the file holds; an empty one is a new database. Returns SQLite's
  /// result; `*database` is to be closed whatever it is, and before this object goes.
  int open(sqlite3** database);

 private:
  sqlite3_vfs vfs_{};
};

}  // namespace sqlite
