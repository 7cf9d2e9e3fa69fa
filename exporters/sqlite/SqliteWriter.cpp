#include "exporters/sqlite/SqliteWriter.h"

namespace {

constexpr const char* kEnding = ".db";

}  // namespace

SqliteWriter::SqliteWriter()
    : RunWriter("9b8f4b0c-6f3e-4d0b-a3c5-2f6d1e7c9a84",
                new pwr::WriterPluginCapability({}, "sqlite", "Write an SQLite database.", kEnding,
                                                false),
                sqlite::kLog, [](const std::string& baseName, bool /*continuous*/) {
                  return sqlite::SqliteRun::open(baseName + kEnding);
                }) {}
