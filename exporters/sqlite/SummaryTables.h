#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "exporters/sqlite/Database.h"
#include "writers/common/TimeScale.h"
#include "writers/host/MetricContainerInfoMessage.h"
#include "writers/host/TableMessage.h"

namespace sqlite {

/// The tables of the summary report, cell by cell, and the containers that they stand in.
class SummaryTables {
 public:
  explicit SummaryTables(Database& database);

  /// What was told last of a container holds.
  void add(const pwr::MetricContainerInfoMessage& container);
  void setTicksPerMicrosecond(float told) { scale_.setTicksPerMicrosecond(told); }
  /// Times become milliseconds where the report shows them so.
  void add(const pwr::TableMessage& table);
  /// Inserts the containers.
  void write();

 private:
  struct Table {
    std::int64_t number = 0;
    std::int64_t rows = 0;
  };

  Table& find(const pwr::TableMessage& table);
  void describe(const pwr::TableMessage& table, std::int64_t number);
  void addRow(const pwr::TableMessage& table, const Table& known);

  Database& database_;
  Insertion cells_;
  TimeScale scale_;
  std::map<std::pair<unsigned int, unsigned int>, Table> tables_;       // by container and table id
  std::map<unsigned int, pwr::MetricContainerDescription> containers_;  // by id
};

}  // namespace sqlite
