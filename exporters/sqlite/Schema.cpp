#include "exporters/sqlite/Schema.h"

namespace sqlite {

// The application id spells "Tvrn". To find a place in a table without rowid, SQLite reads whole
// rows, however long: only that of the points is one, and their long texts are elsewhere.
const char* const kTables = R"sql(
PRAGMA application_id = 0x5476726E;
PRAGMA user_version = 1;

CREATE TABLE run (
  product_version TEXT,
  driver_version TEXT,
  command_line TEXT,
  start_time TEXT,
  start_ns ANY,
  start_ticks ANY NOT NULL,
  stop_ticks ANY,
  duration REAL,
  clock_mhz REAL NOT NULL
) STRICT;

CREATE TABLE system (name TEXT NOT NULL, value ANY, meaning TEXT) STRICT;

CREATE TABLE cpu (package INTEGER, module INTEGER, core INTEGER, cpu INTEGER NOT NULL) STRICT;

CREATE TABLE container (
  id INTEGER PRIMARY KEY,
  feature TEXT,
  name TEXT,
  heading TEXT,
  notes_above TEXT,
  notes_below TEXT
) STRICT;

CREATE TABLE entity (
  id INTEGER PRIMARY KEY,
  name TEXT NOT NULL,
  path TEXT NOT NULL,
  level TEXT,
  parent INTEGER REFERENCES entity,
  attributes TEXT
) STRICT;

CREATE TABLE descriptor (
  id INTEGER PRIMARY KEY,
  name TEXT NOT NULL,
  description TEXT,
  attributes TEXT
) STRICT;

CREATE TABLE metric (
  id INTEGER PRIMARY KEY,
  container INTEGER,
  feature TEXT,
  name TEXT NOT NULL,
  kind TEXT NOT NULL,
  quantity TEXT,
  unit TEXT,
  ticks_per_unit REAL,
  has_durations INTEGER NOT NULL,
  rate_unit TEXT,
  rate_factor REAL,
  entity_group TEXT,
  descriptor_group TEXT,
  value_group TEXT
) STRICT;

CREATE TABLE metric_value (
  metric INTEGER NOT NULL REFERENCES metric,
  position INTEGER NOT NULL,
  value ANY
) STRICT;

CREATE TABLE series (
  id INTEGER PRIMARY KEY,
  metric INTEGER NOT NULL REFERENCES metric,
  entity INTEGER REFERENCES entity,
  descriptor INTEGER REFERENCES descriptor
) STRICT;

CREATE TABLE point (
  series INTEGER NOT NULL REFERENCES series,
  time INTEGER NOT NULL,
  sequence INTEGER NOT NULL,
  duration ANY,
  value ANY,
  attributes ANY,
  PRIMARY KEY (series, time, sequence)
) STRICT, WITHOUT ROWID;

CREATE TABLE long_text (id INTEGER PRIMARY KEY, text TEXT NOT NULL) STRICT;

CREATE TABLE process (
  id INTEGER PRIMARY KEY,
  pid INTEGER NOT NULL,
  parent INTEGER,
  name TEXT,
  path TEXT,
  start_time INTEGER,
  end_time INTEGER
) STRICT;

CREATE TABLE process_image (
  process INTEGER NOT NULL REFERENCES process,
  end_time INTEGER,
  name TEXT,
  path TEXT
) STRICT;

CREATE TABLE thread (
  pid INTEGER NOT NULL,
  tid INTEGER NOT NULL,
  name TEXT,
  start_time INTEGER,
  end_time INTEGER
) STRICT;

CREATE TABLE lost_events (source TEXT NOT NULL, count ANY) STRICT;

CREATE TABLE text (position INTEGER PRIMARY KEY, kind TEXT NOT NULL, text TEXT NOT NULL) STRICT;

CREATE TABLE summary_table (
  id INTEGER PRIMARY KEY,
  container INTEGER,
  title TEXT,
  unit TEXT,
  notes_above TEXT,
  notes_below TEXT
) STRICT;

CREATE TABLE summary_column (
  summary_table INTEGER NOT NULL REFERENCES summary_table,
  position INTEGER NOT NULL,
  name TEXT,
  entity TEXT
) STRICT;

CREATE TABLE summary_cell (
  summary_table INTEGER NOT NULL REFERENCES summary_table,
  "row" INTEGER NOT NULL,
  position INTEGER NOT NULL,
  value ANY
) STRICT;
)sql";

// The sub-selects of the only run are evaluated once.
const char* const kIndexesAndViews = R"sql(
CREATE INDEX series_by_metric ON series (metric);
CREATE INDEX metric_by_name ON metric (name);
CREATE UNIQUE INDEX summary_column_by_place ON summary_column (summary_table, position);
CREATE UNIQUE INDEX summary_cell_by_place ON summary_cell (summary_table, "row", position);

CREATE VIEW measurement AS
SELECT
  point.time / ((SELECT clock_mhz FROM run) * 1e6) AS seconds,
  CASE WHEN metric.has_durations THEN point.duration / ((SELECT clock_mhz FROM run) * 1e6) END
    AS duration,
  metric.feature AS feature,
  metric.kind AS kind,
  metric.name AS metric,
  entity.name AS entity,
  entity.path AS path,
  descriptor.name AS descriptor,
  CASE
    WHEN typeof(point.value) = 'blob' THEN
      (SELECT text FROM long_text WHERE id = CAST(point.value AS INTEGER))
    WHEN metric.ticks_per_unit IS NULL OR typeof(point.value) = 'text' THEN point.value
    ELSE point.value / metric.ticks_per_unit
  END AS value,
  metric.unit AS unit,
  CASE
    WHEN typeof(point.value) IN ('text', 'blob') THEN NULL
    WHEN metric.kind = 'SAMPLED_RESIDENCY' THEN 100.0 * point.value / point.duration
    ELSE point.value * metric.rate_factor / (point.duration / ((SELECT clock_mhz FROM run) * 1e6))
  END AS rate,
  metric.rate_unit AS rate_unit,
  CASE
    WHEN typeof(point.attributes) = 'blob' THEN
      (SELECT text FROM long_text WHERE id = CAST(point.attributes AS INTEGER))
    ELSE point.attributes
  END AS attributes,
  point.series AS series,
  point.time AS time,
  point.sequence AS sequence
FROM point
JOIN series ON series.id = point.series
JOIN metric ON metric.id = series.metric
LEFT JOIN entity ON entity.id = series.entity
LEFT JOIN descriptor ON descriptor.id = series.descriptor;

CREATE VIEW summary AS
SELECT
  container.heading AS heading,
  summary_table.title AS title,
  cell."row" AS "row",
  label.value AS label,
  summary_column.entity AS entity,
  summary_column.name AS field,
  cell.value AS value
FROM summary_cell AS cell
JOIN summary_table ON summary_table.id = cell.summary_table
JOIN summary_column
  ON summary_column.summary_table = cell.summary_table AND summary_column.position = cell.position
JOIN summary_cell AS label
  ON label.summary_table = cell.summary_table AND label."row" = cell."row" AND label.position = 1
LEFT JOIN container ON container.id = summary_table.container;

PRAGMA analysis_limit = 1000;
ANALYZE;
)sql";

}  // namespace sqlite
