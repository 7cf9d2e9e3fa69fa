#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "exporters/sqlite/Database.h"
#include "writers/host/MetricContainerInfoMessage.h"
#include "writers/host/TableMessage.h"

namespace sqlite {

/// The tables of the summary report, cell by cell, and the containers that they stand in.
class SummaryTables {
 public:
  explicit SummaryTables(Database& database);

  /// What was told last of a container holds.
  void add(const pwr::MetricContainerInfoMessage& container);
  /// Times become milliseconds where the report shows them so.
  void add(const pwr::TableMessage& table, double ticksPerMicrosecond);
  /// Inserts the containers.
  void write();

 private:
  struct Table {
    std::int64_t number = 0;
    std::int64_t rows = 0;
  };

  Table& find(const pwr::TableMessage& table);
  void describe(const pwr::TableMessage& table, std::int64_t number);
  void addRow(const pwr::TableMessage& table, const Table& known, double ticksPerMillisecond);

  Database& database_;
  Insertion cells_;
  std::map<std::pair<unsigned int, unsigned int>, Table> tables_;       // by container and table id
  std::map<unsigned int, pwr::MetricContainerDescription> containers_;  // by id
};

}  // namespace sqlite
