#pragma once

namespace sqlite {

/// What is in a database, before its rows: docs/formats/sqlite.md tells of each table and column.
/// A change that a query could notice takes the next `user_version`.
extern const char* const kTables;

/// What is easier to make behind the rows: indexes, what the query planner has to know, and views.
extern const char* const kIndexesAndViews;

}  // namespace sqlite
