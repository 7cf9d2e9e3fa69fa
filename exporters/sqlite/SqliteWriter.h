#pragma once

#include "exporters/sqlite/SqliteRun.h"
#include "writers/common/RunWriter.h"

/// Writes a run as an SQLite database, BASE.db (docs/formats/sqlite.md).
class SqliteWriter final : public RunWriter<sqlite::SqliteRun> {
 public:
  SqliteWriter();
};
