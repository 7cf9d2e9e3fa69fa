#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "exporters/sqlite/Catalog.h"
#include "exporters/sqlite/Database.h"
#include "exporters/sqlite/PointStage.h"
#include "exporters/sqlite/SummaryTables.h"
#include "hostcommon/OutputFile.h"
#include "writers/host/Metric.h"
#include "writers/host/MetricContainerInfoMessage.h"
#include "writers/host/SystemMessage.h"
#include "writers/host/TableMessage.h"
#include "writers/host/TextMessage.h"

namespace sqlite {

/// The database of a run. Points and tables go into it as they come; what describes them, and the
/// system, when it is closed.
class SqliteRun {
 public:
  /// Null, with the cause logged, when `path` cannot be a database.
  static std::unique_ptr<SqliteRun> open(const std::string& path);

  int write(const pwr::SystemMessage& message);
  int write(const pwr::MetricContainerInfoMessage& message);
  int write(const pwr::Metric& metric);
  int write(const pwr::TableMessage& message);
  int write(const pwr::TextMessage& message);
  int close();

 private:
  SqliteRun() = default;

  bool create(const std::string& path);
  /// The timestamp from which times count: the start of the collection, or 0 when points came
  /// before the system.
  std::uint64_t start();
  double ticksPerMicrosecond() const;

  pwr::OutputFile file_;
  Database database_{file_};
  Catalog catalog_;
  PointStage points_{database_};
  std::optional<SummaryTables> tables_;
  std::int64_t textCount_ = 0;
  const pwr::SystemMetadata* system_ = nullptr;
  std::optional<std::uint64_t> start_;
};

}  // namespace sqlite
